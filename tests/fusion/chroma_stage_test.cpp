#include "fusion/chroma_stage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "base/result_codes.h"
#include "fusion/saturation.h"
#include "kernels/threshold_dilate.h"
#include "support/digest.h"
#include "support/started_pool.h"
#include "support/test_planes.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

using test::RandomPlane;

constexpr int32_t kNoThresholds[40] = {};

/// A half-size image of a w x h frame with frame counts, and the parameters that leave its chroma alone.
struct Case {
  Case(int w, int h) : width(w), height(h), half(test::TexturedFrame(w / 2, h / 2)), weight(w * h, 225) {
    fusion.weightShift = 8;
    fusion.chromaS = -100;
    fusion.chromaNrTable = kNoThresholds;
    fusion.chromaDetail = 255;
  }
  PlaneSet planes() { return {{half.image().y, half.image().u, half.image().v}}; }
  int32_t Run() {
    fusion.weightMap = weight.data();
    std::vector<uint8_t> scratch(ChromaStageScratchSize(width, height), 0xA5);
    return ChromaStage(fusion, width, height, planes(), planes(), scratch.data());
  }
  int width, height;
  test::Frame half;
  std::vector<uint8_t> weight;
  FusionPara fusion = {};
};

// The k-th bit plane from now on is refused.
std::atomic<int> asked{0};
std::atomic<int> refused{0};
void* RefusingMalloc(size_t size) {
  return asked++ == refused ? nullptr : std::malloc(size);
}

TEST(ChromaStage, AStripeWhoseMaskIsRefusedKeepsItsChroma) {
  const test::StartedPool pool(DenoisePool());
  Case ready(256, 320);
  test::AddNoise(&ready.half, 6.0, 3);
  Case whole = ready;
  EXPECT_EQ(whole.Run(), 0);
  for (int k = 0; k < 4; ++k) {
    Case hurt = ready;
    asked = 0;
    refused = k;
    bit_mask_malloc = RefusingMalloc;
    const int32_t result = hurt.Run();
    bit_mask_malloc = std::malloc;
    EXPECT_EQ(asked, 4);
    int kept = 0;
    for (int i = 0; i < 4; ++i) {
      const auto same = [&](const Case& c, int plane) {
        const int64_t quarter = 256 * 320 / 64, start = 256 * 320 / 4 + (4 * plane + i) * quarter;
        return std::equal(&hurt.half.bytes[start], &hurt.half.bytes[start] + quarter, &c.half.bytes[start]);
      };
      EXPECT_EQ(same(whole, 0), same(whole, 1));
      if (same(whole, 0)) continue;
      ++kept;
      EXPECT_TRUE(same(ready, 0) && same(ready, 1));
      EXPECT_EQ(result, i == 3 ? kNoMemory : kOk) << "the last stripe's";
    }
    EXPECT_EQ(kept, 1);
  }
}

TEST(Saturation, HuesStandWhereTheWheelHasThem) {
  EXPECT_EQ(Hue(120, 128, 128), 0);
  EXPECT_EQ(Hue(76, 85, 255), 0);          // red
  EXPECT_NEAR(Hue(150, 44, 21), 85, 2);    // green
  EXPECT_NEAR(Hue(29, 255, 107), 170, 2);  // blue
  EXPECT_NEAR(Hue(226, 0, 149), 42, 4);    // yellow
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

// Hues of all colours; the envelope over lone peaks of any height, which take narrow and wide bumps, and over
// hues of any height at once, which take many.
TEST(Saturation, GivesTheKnownBytes) {
  std::vector<uint8_t> hues, stretches, stretched;
  for (int i = 0; i < 64 * 64 * 64; ++i)
    hues.push_back(Hue(i % 64 * 4 + 3, i / 64 % 64 * 4 + 1, i >> 12 << 2));
  EXPECT_EQ(test::Digest(hues), 0x1C20050573A53880);
  const auto heights = RandomPlane<uint8_t>(256 * 20, 129);
  for (int k = 0; k < 148; ++k) {
    SaturationPeaks peaks = {};
    for (int h = 0; h < 256; ++h) {
      peaks.peak[h] = k < 128 ? (h == (7 * k & 255) ? k : 0) : heights[256 * (k - 128) + h];
    }
    const SaturationCurve curve = MakeSaturationCurve(peaks, 20 + k);
    for (const int32_t s : curve.stretch) stretches.push_back(static_cast<uint8_t>(s));
    for (int v = 0; v < 256; ++v) {
      uint8_t u = static_cast<uint8_t>(v), other = static_cast<uint8_t>(255 - v);
      StretchSaturation(curve, u, (v * k) & 255, &u, &other);
      stretched.insert(stretched.end(), {u, other});
    }
  }
  EXPECT_EQ(test::Digest(stretches), 0xE6874063D7136B27);
  EXPECT_EQ(test::Digest(stretched), 0xD2917E736EFC71C6);
}

}  // namespace
}  // namespace zolt
