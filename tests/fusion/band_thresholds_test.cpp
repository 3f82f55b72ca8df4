#include "fusion/band_thresholds.h"

#include <gtest/gtest.h>

namespace zolt {
namespace {

TEST(BandThresholds, AnyNumberOfLevelsStaysInsideTheRecord) {
  using Triple = std::array<int32_t, 3>;
  for (int levels = 1; levels <= 9; ++levels) {
    SCOPED_TRACE(levels);
    FusionPara fusion = {};
    fusion.bandLevels = levels;
    fusion.fusion_low = 5;
    fusion.fusion_high = -7;
    fusion.lumaLF = fusion.detail = 1;  // lie behind the record
    FillBandThresholds(&fusion);
    EXPECT_EQ(fusion.bandThreshold[0], 5);
    for (int level = 0; level < 9; ++level) {
      const int coarse = std::min(levels - 1, 6);
      Triple expected = level < coarse    ? Triple{-7, -7, -14}
                        : level == coarse ? Triple{-3, -3, -1}
                                          : Triple{};
      if (level == 6) expected[1] = expected[2] = 0;  // words 20 and 21
      EXPECT_EQ(LevelThresholds(fusion, level), expected) << level;
    }
    EXPECT_EQ(fusion.lumaLF, 1);
    EXPECT_EQ(fusion.detail, 1);
  }
}

}  // namespace
}  // namespace zolt
