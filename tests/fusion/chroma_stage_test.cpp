#include "fusion/chroma_stage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "base/result_codes.h"
#include "fusion/saturation.h"
#include "kernels/threshold_dilate.h"
#include "support/started_pool.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

using test::RandomPlane;

constexpr int32_t kNoThresholds[40] = {};

/// A half-size image of a w x h frame with frame counts, and the parameters that leave its chroma alone.
struct Case {
  Case(int w, int h) : width(w), height(h), half(test::TexturedFrame(w / 2, h / 2)), weight(w * h, 225) {
    fusion.weightMap = weight.data();
    fusion.weightShift = 8;
    fusion.chromaS = -100;
    fusion.chromaNrTable = kNoThresholds;
    fusion.chromaDetail = 255;
  }
  PlaneSet planes() { return {{half.image().y, half.image().u, half.image().v}}; }
  int32_t Run() {
    std::vector<uint8_t> scratch(ChromaStageScratchSize(width, height), 0xA5);
    return ChromaStage(fusion, width, height, planes(), planes(), scratch.data());
  }
  int width, height;
  test::Frame half;
  std::vector<uint8_t> weight;
  FusionPara fusion = {};
};

TEST(ChromaStage, StripesJoinWithoutASeamAndRepeat) {
  const test::StartedPool pool(DenoisePool());
  for (const auto& [w, h] : {std::pair{256, 256}, {272, 272}, {400, 640}, {336, 1040}}) {
    Case first(w, h);
    std::fill(first.half.image().u, first.half.image().u + w * h / 16, uint8_t{140});
    std::fill(first.half.image().v, first.half.image().v + w * h / 16, uint8_t{90});
    first.fusion.SaturationGain = 20;
    Case second = first;
    second.fusion.weightMap = second.weight.data();
    EXPECT_EQ(first.Run(), 0);
    EXPECT_EQ(second.Run(), 0);
    EXPECT_EQ(first.half.bytes, second.half.bytes);
  }
}

TEST(ChromaStage, WithoutThresholdsAFlatColourStays) {
  const test::StartedPool pool(DenoisePool());
  Case flat(272, 288);
  std::fill(flat.half.image().u, flat.half.image().v + 272 * 288 / 16, uint8_t{150});
  const test::Frame before = flat.half;
  EXPECT_EQ(flat.Run(), 0);
  EXPECT_EQ(flat.half.bytes, before.bytes);
}

TEST(ChromaStage, AStripeWhoseMaskIsRefusedKeepsItsChroma) {
  const test::StartedPool pool(DenoisePool());
  Case hurt(256, 320), whole(256, 320);
  for (Case* c : {&hurt, &whole}) {
    c->fusion.SaturationGain = 40;
    test::AddNoise(&c->half, 6.0, 3);
  }
  const test::Frame before = hurt.half;
  EXPECT_EQ(whole.Run(), 0);
  bit_mask_malloc = [](size_t) -> void* { return nullptr; };
  EXPECT_EQ(hurt.Run(), kNoMemory);
  bit_mask_malloc = std::malloc;
  EXPECT_EQ(hurt.half.bytes, before.bytes);
  EXPECT_NE(whole.half.bytes, before.bytes);
}

TEST(Saturation, HuesStandWhereTheWheelHasThem) {
  EXPECT_EQ(Hue(120, 128, 128), 0);
  EXPECT_EQ(Hue(76, 85, 255), 0);          // red
  EXPECT_NEAR(Hue(150, 44, 21), 85, 2);    // green
  EXPECT_NEAR(Hue(29, 255, 107), 170, 2);  // blue
  EXPECT_NEAR(Hue(226, 0, 149), 42, 4);    // yellow
  for (int y = 0; y < 256; y += 5) {
    for (int u = 0; u < 256; u += 3) {
      for (int v = 0; v < 256; v += 3) Hue(y, u, v);  // nothing overflows anywhere
    }
  }
}

TEST(Saturation, AWeakHueIsStretchedUpToTheGainAndAFullOneStays) {
  SaturationPeaks peaks = {};
  const SaturationCurve weak = MakeSaturationCurve(peaks, 32);
  // Gain 2: the limit is 127 / 2.001 + 0.5 = 63, (31 + 16383) / 63 - 128 = 132.
  for (const int32_t s : weak.stretch) EXPECT_EQ(s, 132);
  EXPECT_EQ(weak.multiplier, 127);
  uint8_t u = 148, v = 118;
  StretchSaturation(weak, 10, 128, &u, &v);
  EXPECT_NEAR(u, 128 + 40, 1);
  EXPECT_NEAR(v, 128 - 20, 1);
  u = 148;
  StretchSaturation(weak, 10, 0, &u, &v);
  EXPECT_NEAR(u, 148, 1) << "black keeps its chroma";

  peaks.peak[170] = 127;
  const SaturationCurve full = MakeSaturationCurve(peaks, 32);
  EXPECT_NEAR(full.stretch[170], 0, 4);
  EXPECT_EQ(full.stretch[85], 132);
  EXPECT_EQ(full.stretch[0], 132);
  peaks.peak[170] = 0;
  peaks.peak[1] = 110;  // the bump goes round the ring's end
  EXPECT_LT(MakeSaturationCurve(peaks, 32).stretch[250], 132);
  for (const int32_t gain : {1, -32, 100000, 2147483647, -2147483647 - 1}) MakeSaturationCurve(peaks, gain);
}

}  // namespace
}  // namespace zolt
