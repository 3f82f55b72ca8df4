#include "config/iso_selection.h"

#include <gtest/gtest.h>

#include <climits>

#include "config/xml_document.h"

namespace zolt {
namespace {

MfConfig Defaults() {
  MfConfig config;
  FillConfig(&config, XmlDocument());
  return config;
}

TEST(IsoSelection, TheFirstBandThatIsNotBelowServes) {
  MfConfig config = Defaults();
  struct Case {
    int32_t iso;
    int band;
  };
  const Case cases[] = {{INT_MIN, 0}, {0, 0},    {50, 0},   {51, 1},   {200, 1},    {201, 2},
                        {3200, 6},    {3201, 7}, {4950, 7}, {4951, 7}, {INT_MAX, 7}};
  for (const Case& c : cases) {
    EXPECT_EQ(SelectIsoParameters(c.iso, config).chromaNrLUT, config.bands[c.band].chromaNrLUT) << c.iso;
  }
  config.bands[7].isovalue = -1;  // never asked
  EXPECT_EQ(BandOfIso(5000, config), 7);
  config.bands[1].isovalue = 10000;  // out of order: bands behind it are never reached
  EXPECT_EQ(BandOfIso(3200, config), 1);
}

TEST(IsoSelection, BothFlagsMustBeOddForNoiseReduction) {
  MfConfig config = Defaults();
  for (int band = 0; band < 4; ++band) {
    for (int global = 0; global < 4; ++global) {
      config.bands[3].NoiseReductionFlag = band;
      config.NoiseReductionFlag = global;
      EXPECT_EQ(SelectIsoParameters(800, config).noiseReductionOn, (band % 2) * (global % 2));
    }
  }
}

TEST(IsoSelection, FusionBytesAreCutAndLimited) {
  struct Case {
    int32_t value, boost, restore, detail_min;
  };
  const Case cases[] = {{-3, 10, 253, 0}, {0, 0, 0, 0},      {10, 10, 10, 10}, {11, 10, 11, 10},
                        {256, 0, 0, 10},  {300, 10, 44, 10}, {261, 5, 5, 10},  {INT_MIN, 0, 0, 0}};
  for (const Case& c : cases) {
    MfConfig config = Defaults();
    config.bands[0].boostDetail = config.bands[0].detailRestore = config.detailMin = c.value;
    const FusionSettings fusion = SelectIsoParameters(1, config).fusion;
    EXPECT_EQ(fusion.boostDetail, c.boost) << c.value;
    EXPECT_EQ(fusion.detailRestore, c.restore) << c.value;
    EXPECT_EQ(fusion.detailMin, c.detail_min) << c.value;
  }
}

}  // namespace
}  // namespace zolt
