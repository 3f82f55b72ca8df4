#include "noise/spatial_settings.h"

#include <algorithm>

#include "base/arithmetic.h"

namespace zolt {
namespace {

constexpr int kDarkPeak = 64;     // scenes whose most frequent luma is no higher count as dark
constexpr int kBrightPeak = 200;  // above it a boost would drive colours out

// -128 is off, 0 the strongest.
int32_t CoringStrength(int32_t luma_hf) {
  return Clamp(luma_hf, -128, 0) + 128;
}

}  // namespace

uint8_t ReturnLimit(int32_t detail, uint8_t peak_level, int shift) {
  // Detail in a dark scene is mostly noise.
  const int64_t wanted = -(int64_t{detail} + (peak_level <= kDarkPeak ? 10 : 0));
  const int share = static_cast<int>(Clamp<int64_t>(wanted, 0, 128));
  // A share of 0 becomes 255 in the byte: the frame count then acts alone.
  return static_cast<uint8_t>(((share << shift) >> 7) - 1);
}

void MakeSpatialSettings(const NrParameters& nr, SpatialLevel level, SpatialSettings* settings) {
  SpatialSettings& s = *settings;
  const bool low = level == SpatialLevel::kLow;
  s.level = level;
  s.median = nr.lumaMed != 0;
  s.return_luma = nr.stageSwitchA != 0;
  s.filter_chroma = nr.stageSwitchB != 0;
  s.luma_edges = nr.peakLevel > kDarkPeak;
  BuildCoringLut(&s.coring[0], CoringStrength(nr.lumaHF1));
  if (low) {
    BuildCoringLut(&s.coring[1], CoringStrength(nr.lumaHF2));
    BuildCoringLut(&s.coring[2], CoringStrength(nr.lumaHF3));
  }
  BuildRecursiveLut(&s.low_band, LowBandStrength(nr.lumaLF), BackShare(nr.detail));
  s.chroma = ChromaSettingsFromStrength(nr.chromaS, low ? 1228 : 2048);
  s.chroma_thresholds = nr.chromaNrLUT;
  s.shift = WeightShift(nr.frameTotal);
  s.edge_chroma_weight = SaturateU8(nr.chromaDetail);
  const bool bright = nr.peakLevel > kBrightPeak;
  s.boost_level = bright ? std::max(nr.enhancementLevel, 1) - 1 : nr.enhancementLevel;
  s.return_limit = ReturnLimit(nr.detail, nr.peakLevel, s.shift);
  s.edge_return = EdgeReturnFromDetail(nr.detail);
}

}  // namespace zolt
