#pragma once

#include <cstddef>
#include <cstdint>

#include "config/configuration.h"

namespace zolt {

enum class ConfigType { kInt, kFloat, kIntList };

/// What the eight keys of a band family, or one global key, have in common.
struct ConfigMeaning {
  const char* group;  ///< folder below "/Config"; a band's key lies in its folder "ISO1" to "ISO8" in there
  const char* name;
  ConfigType type;
  size_t offset;     ///< in IsoBand for a band's key, in MfConfig for a global one
  int32_t fallback;  ///< taken where the file gives no value; `isovalue` has one for each band
  int32_t low;       ///< useful range, both ends included: outside it a value only repeats what an end does,
  int32_t high;      ///< or does harm
  const char* text;  ///< one line on what it acts on and in which direction
};

/// One key of the tuning file.
struct ConfigKey {
  char path[64];
  const ConfigMeaning* meaning;
  int band;          ///< 1 to 8, or 0 for a global key
  int32_t fallback;  ///< for every entry of a list
  size_t offset;     ///< in MfConfig
};

inline constexpr int kGlobalKeys = 16;
inline constexpr int kBandKeys = 21;
inline constexpr int kConfigKeys = kGlobalKeys + kIsoBands * kBandKeys;

/// The index-th of all keys: the global ones, then band for band.
ConfigKey ConfigKeyAt(int index);

/// Where the key's value lies; a list has kChromaNrEntries of them.
inline int32_t* IntAt(MfConfig* config, const ConfigKey& key) {
  return reinterpret_cast<int32_t*>(reinterpret_cast<char*>(config) + key.offset);
}
inline float* FloatAt(MfConfig* config, const ConfigKey& key) {
  return reinterpret_cast<float*>(reinterpret_cast<char*>(config) + key.offset);
}

}  // namespace zolt
