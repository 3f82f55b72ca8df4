#pragma once

#include <cstdint>

namespace zolt {

class XmlDocument;

inline constexpr int kIsoBands = 8;
inline constexpr int kChromaNrEntries = 40;

/// Tuning of one ISO band, as the file gives it.
struct IsoBand {
  int32_t isovalue;  ///< the band serves ISO values up to this one
  int32_t NoiseReductionFlag;
  int32_t lumaMed;
  int32_t lumaLF;
  int32_t lumaHF1;
  int32_t lumaHF2;
  int32_t lumaHF3;
  int32_t chromaS;
  int32_t detail;
  int32_t chromaNrLUT[kChromaNrEntries];  ///< 20 thresholds for U, then 20 for V
  int32_t lumaTH_Low;
  int32_t lumaTH_High;
  int32_t lumaNoiseTH;
  int32_t chromaTH_Low;
  int32_t chromaTH_High;
  int32_t chromaNoiseTH;
  int32_t fusion_high;
  int32_t fusion_low;
  int32_t detailRestore;
  int32_t SaturationGain;
  int32_t boostDetail;
};
static_assert(sizeof(IsoBand) == 60 * sizeof(int32_t));

/// All that the tuning file decides: bands ISO1 to ISO8 in rising order of `isovalue`, and what holds for
/// every burst. docs/tuning.md tells what each value does.
struct MfConfig {
  IsoBand bands[kIsoBands];
  int32_t enhancementLevel;
  int32_t chromaDetail;
  int32_t detailMin;
  int32_t LumaEnhancementFlag;
  int32_t maxGain;
  int32_t chromaGain;
  int32_t lumaTH;
  int32_t peakTH;
  int32_t ExposureFusionFlag;
  int32_t ChromaFusionFlag;
  int32_t HDRFusionFlag;
  int32_t isoTH;
  int32_t maxShift;
  float ghostTH;
  int32_t stableLumaTH;
  int32_t NoiseReductionFlag;
};
static_assert(sizeof(MfConfig) == (8 * 60 + 16) * sizeof(int32_t));

/// Reads every key from the document; one that is missing, or holds no number, takes its default. Numbers are
/// read from the front of a key's first text, in the C locale whatever the process's; what is behind them is
/// ignored, integers out of range saturate. 0 always.
int32_t FillConfig(MfConfig* config, const XmlDocument& document);

/// The same for a single text; `fallback` if it is null or doesn't begin with a number. The float form also
/// takes hexadecimal floats, "inf" and "nan".
int32_t IntFromText(const char* text, int32_t fallback);
float FloatFromText(const char* text, float fallback);

/// Reads up to `count` integers separated by white space, in order, and returns how many there are. The rest
/// becomes 0: what follows something that is no integer, or an integer out of range, which itself saturates.
int IntListFromText(const char* text, int32_t* values, int count);

}  // namespace zolt
