#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/configuration.h"

namespace zolt {

/// One number of a band that the search may turn: whole, from `low` to `high`, `step` to the unit of the
/// file.
struct TuneKey {
  const char* name;
  int low, high;
  int step;
  bool ratio;  // a factor matters more than a difference: the search sees the logarithm of the number + 1
  int32_t IsoBand::*member;
  int scale;  // of chromaNrLUT, 0 fine to 4 coarse: the same number for both planes and all levels; else -1

  int Get(const IsoBand& band) const;  // nearest within the range
  void Set(IsoBand* band, int value) const;
  /// The place of a value between 0 and 1, and back.
  double Place(int value) const;
  int Value(double place) const;
};

/// The keys in a fixed order. `with_fusion` keeps the ghost thresholds as high as a fusion needs them.
std::vector<TuneKey> GhostKeys(bool with_fusion);
std::vector<TuneKey> LumaKeys();    // of the spatial filter
std::vector<TuneKey> ChromaKeys();  // of the spatial filter
std::vector<TuneKey> FusionKeys();
std::vector<TuneKey> operator+(std::vector<TuneKey> a, const std::vector<TuneKey>& b);

std::vector<int> ValuesOf(const std::vector<TuneKey>& keys, const IsoBand& band);
void SetValues(const std::vector<TuneKey>& keys, const std::vector<int>& values, IsoBand* band);

/// "30,100,..." for the memory of a search.
std::string TextOf(const std::vector<int>& values);

}  // namespace zolt
