#include "fusion/band_thresholds.h"

#include <algorithm>
#include <iterator>

#include "base/arithmetic.h"

namespace zolt {
namespace {

constexpr int kWords = static_cast<int>(std::size(FusionPara{}.bandThreshold));
constexpr int kMostCoarseLevels = 6;

int FirstWord(int level) {
  return 1 + 3 * level;
}

void SetLevel(FusionPara* fusion, int level, const std::array<int32_t, 3>& thresholds) {
  const int first = FirstWord(level);
  for (int i = 0; i < 3 && first + i < kWords; ++i) {
    fusion->bandThreshold[first + i] = thresholds[static_cast<size_t>(i)];
  }
}

}  // namespace

// The diagonal band has twice the threshold of the others on the coarser levels but half of it on the finest,
// where it is mostly noise.
void FillBandThresholds(FusionPara* fusion) {
  std::fill_n(fusion->bandThreshold, kWords, 0);
  const int32_t high = fusion->fusion_high;
  fusion->bandThreshold[0] = fusion->fusion_low;
  const int coarse = std::clamp(fusion->bandLevels - 1, 0, kMostCoarseLevels);
  for (int level = 0; level < coarse; ++level) SetLevel(fusion, level, {high, high, WrapMul(high, 2)});
  SetLevel(fusion, coarse, {high / 2, high / 2, high / 4});
}

std::array<int32_t, 3> LevelThresholds(const FusionPara& fusion, int level) {
  const auto word = [&](int i) { return i < kWords ? fusion.bandThreshold[i] : 0; };
  const int first = FirstWord(level);
  return {word(first), word(first + 1), word(first + 2)};
}

}  // namespace zolt
