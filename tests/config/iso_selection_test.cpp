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

TEST(IsoSelection, EveryValueComesFromItsOwnField) {
  MfConfig config = Defaults();
  config.bands[2] = {400, 1, 2, 3, 4, 5, 6, 7, 8, {9}, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 5};
  int32_t* const globals = &config.enhancementLevel;
  for (int i = 0; i < 13; ++i) globals[i] = 100 + i;
  config.ghostTH = 0.5f;
  config.stableLumaTH = 114;
  const IsoParameters p = SelectIsoParameters(400, config);

  EXPECT_EQ(p.nr.lumaMed, 2);
  EXPECT_EQ(p.nr.lumaLF, 3);
  EXPECT_EQ(p.nr.lumaHF1, 4);
  EXPECT_EQ(p.nr.lumaHF2, 5);
  EXPECT_EQ(p.nr.lumaHF3, 6);
  EXPECT_EQ(p.nr.chromaS, 7);
  EXPECT_EQ(p.nr.detail, 8);
  EXPECT_EQ(p.deghost.lumaTH_Low, 10);
  EXPECT_EQ(p.deghost.lumaTH_High, 11);
  EXPECT_EQ(p.deghost.lumaNoiseTH, 12);
  EXPECT_EQ(p.deghost.chromaTH_Low, 13);
  EXPECT_EQ(p.deghost.chromaTH_High, 14);
  EXPECT_EQ(p.deghost.chromaNoiseTH, 15);
  EXPECT_EQ(p.enhancement.enhancementLevel, 100);
  EXPECT_EQ(p.enhancement.chromaDetail, 101);
  EXPECT_EQ(p.enhancement.LumaEnhancementFlag, 103);
  EXPECT_EQ(p.enhancement.maxGain, 104);
  EXPECT_EQ(p.enhancement.chromaGain, 105);
  EXPECT_EQ(p.enhancement.lumaTH, 106);
  EXPECT_EQ(p.enhancement.peakTH, 107);
  EXPECT_EQ(p.eisMode, 108);

  EXPECT_EQ(p.fusion.fusion_high, 16);
  EXPECT_EQ(p.fusion.fusion_low, 17);
  EXPECT_EQ(p.fusion.detailRestore, 18);
  EXPECT_EQ(p.fusion.SaturationGain, 19);
  EXPECT_EQ(p.fusion.lumaLF, 3);
  EXPECT_EQ(p.fusion.chromaS, 7);
  EXPECT_EQ(p.fusion.detail, 8);
  EXPECT_EQ(p.fusion.chromaNrTable, config.bands[2].chromaNrLUT);
  EXPECT_EQ(p.fusion.ChromaFusionFlag, 109);
  EXPECT_EQ(p.fusion.HDRFusionFlag, 110);
  EXPECT_EQ(p.fusion.isoTH, 111);
  EXPECT_EQ(p.fusion.maxShift, 112);
  EXPECT_EQ(p.fusion.ghostTH, 0.5f);
  EXPECT_EQ(p.fusion.lumaTH, 114);
  EXPECT_EQ(p.fusion.bandLevels, 3);
}

}  // namespace
}  // namespace zolt
