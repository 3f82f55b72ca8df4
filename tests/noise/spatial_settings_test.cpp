#include "noise/spatial_settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace zolt {
namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

NrParameters Tuning(int32_t all) {
  NrParameters nr = {};
  nr.lumaLF = nr.lumaHF1 = nr.lumaHF2 = nr.lumaHF3 = nr.chromaS = nr.detail = all;
  nr.enhancementLevel = nr.chromaDetail = all;
  return nr;
}

TEST(SpatialSettings, DetailSetsWhatIsGivenBack) {
  EXPECT_EQ(BackShare(-128), 8000);  // 7424 is above 5720
  EXPECT_EQ(BackShare(-47), 5006);
  EXPECT_EQ(BackShare(-46), 5000);  // 2668 is below 2720
  EXPECT_EQ(BackShare(-98), 5684 + 2280);
  EXPECT_EQ(BackShare(-99), 8000);
  EXPECT_EQ(BackShare(0), 5000);
  EXPECT_EQ(BackShare(kMax), 5000);
  EXPECT_EQ(BackShare(kMin), 8000);

  EXPECT_EQ(ReturnLimit(-128, 65, 8), 255);
  EXPECT_EQ(ReturnLimit(-128, 64, 8), 235);  // dark: 118 of 128
  EXPECT_EQ(ReturnLimit(-64, 100, 5), 15);
  EXPECT_EQ(ReturnLimit(-3, 100, 5), 255);  // (3 << 5) >> 7 is 0
  EXPECT_EQ(ReturnLimit(0, 100, 7), 255);
  EXPECT_EQ(ReturnLimit(kMax, 0, 7), 255);
  EXPECT_EQ(ReturnLimit(kMin, 0, 7), 127);
}

// Any word of a tuning file has a defined effect: that of the nearest value in range, where one exists.
TEST(SpatialSettings, ValuesOutOfRangeActLikeTheRangesEnds) {
  SpatialSettings wild, tame;
  MakeSpatialSettings(Tuning(kMin), SpatialLevel::kLow, &wild);
  MakeSpatialSettings(Tuning(-128), SpatialLevel::kLow, &tame);
  EXPECT_EQ(std::memcmp(wild.coring, tame.coring, sizeof wild.coring), 0);
  EXPECT_EQ(std::memcmp(&wild.low_band, &tame.low_band, sizeof wild.low_band), 0);
  EXPECT_EQ(wild.edge_chroma_weight, 0);
  EXPECT_EQ(wild.coring[0].entries[512 + 3], 3) << "off";
  EXPECT_EQ(wild.low_band.tableStep[120 + 8], 0) << "off";

  NrParameters nr = Tuning(kMax);
  MakeSpatialSettings(nr, SpatialLevel::kHigh, &wild);
  nr.lumaHF1 = 0;
  nr.lumaLF = 411;  // strength 511: out of the tables' reach
  MakeSpatialSettings(nr, SpatialLevel::kHigh, &tame);
  EXPECT_EQ(std::memcmp(&wild.coring[0], &tame.coring[0], sizeof wild.coring[0]), 0);
  EXPECT_EQ(std::memcmp(&wild.low_band, &tame.low_band, sizeof wild.low_band), 0);
  EXPECT_EQ(wild.edge_chroma_weight, 255);
}

}  // namespace
}  // namespace zolt
