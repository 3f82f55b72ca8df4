#include "fusion/band_fusion.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/reciprocal_estimate.h"
#include "support/started_pool.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

using test::RandomPlane;

// The sum over the window taken sample by sample.
int Energy(const std::vector<int16_t>& a, const std::vector<int16_t>* b, int w, int h, int x, int y) {
  uint32_t sum = 0;
  for (int j = std::max(0, y - 3); j <= std::min(h - 1, y + 3); ++j) {
    for (int i = std::max(0, x - 3); i <= std::min(w - 1, x + 3); ++i) {
      const int16_t d = int16_t(b != nullptr ? a[j * w + i] - (*b)[j * w + i] : a[j * w + i]);
      sum += uint32_t(d * d);
    }
  }
  const int energy = int32_t(sum) >> 6;
  return x >= w - 3 ? std::min(energy, 4096) : std::clamp(energy, -32768, 32767);
}

TEST(BandFusion, EqualsTheWindowTakenSampleBySample) {
  const test::StartedPool pool(DenoisePool());
  for (const auto& [w, h] : {std::pair{32, 32}, {33, 38}, {64, 5}, {8, 9}}) {
    for (const int bound : {9, 60, 2000}) {
      for (const int threshold : {1, 7, 400, 4112, 30000, 2147483647}) {
        const auto a = RandomPlane<int16_t>(w * h, bound, int16_t(-bound / 2));
        auto b = RandomPlane<int16_t>(w * h + 5, bound, int16_t(-bound / 2));
        b.resize(w * h);
        std::reverse(b.begin(), b.begin() + w * h / 2);
        std::copy(a.begin(), a.begin() + w * h / 4, b.begin());  // a part that agrees
        std::vector<int16_t> out(b);
        std::vector<uint8_t> scratch(FuseBandScratchSize(w));
        FuseBand({a.data(), b.data(), out.data()}, w, h, threshold, scratch.data());
        for (int i = 0; i < w * h; ++i) {
          const int64_t rest = int64_t{threshold} - std::min(Energy(b, &a, w, h, i % w, i / w), threshold);
          const int k = int(256.0f / float(threshold) * float(rest));
          const int16_t d = int16_t(b[i] - a[i]);
          ASSERT_EQ(out[i], int16_t((b[i] * 256 - k * d) >> 8)) << i % w << ' ' << i / w << ' ' << threshold;
        }
      }
    }
  }
}

TEST(BandFusion, AgreementTakesTheAlignedBandAndStrongDifferenceKeepsThePrepared) {
  const test::StartedPool pool(DenoisePool());
  constexpr int kW = 40, kH = 24;
  const auto a = RandomPlane<int16_t>(kW * kH, 100);
  std::vector<int16_t> b(a);
  for (int i = 0; i < kW * kH; ++i) b[i] = int16_t(a[i] + (i / kW < 8 ? 0 : 100));
  std::vector<uint8_t> scratch(FuseBandScratchSize(kW));
  for (const int threshold : {0, -5, -2147483647 - 1}) {
    std::vector<int16_t> out(b.size());
    FuseBand({a.data(), b.data(), out.data()}, kW, kH, threshold, scratch.data());
    EXPECT_EQ(out, b) << threshold;
  }
  std::vector<int16_t> out(b);
  FuseBand({a.data(), b.data(), out.data()}, kW, kH, 64, scratch.data());
  for (int i = 0; i < 5 * kW; ++i) EXPECT_EQ(out[i], a[i]);
  for (int i = 12 * kW; i < kH * kW; ++i) EXPECT_EQ(out[i], b[i]);
}

TEST(BandFusion, LowPassThresholdFollowsTheSignalAndFewFramesSmooth) {
  constexpr int kW = 33, kH = 34;
  auto a = RandomPlane<int16_t>(kW * kH, 256);
  auto b = RandomPlane<int16_t>(kW * kH + 1, 20, 100);
  b.resize(kW * kH);
  // From black, where a tenth of the threshold holds, upward, and an energy of 65, one below the full
  // threshold.
  for (int i = 0; i < 12 * kW; ++i) {
    const int x = i % kW, y = i / kW;
    b[i] = int16_t(x < 16 ? (x + 2 * y) / 5 : 9 + ((x + y) % 4 == 0));
    a[i] = int16_t(b[i] + 8 + i % 16);
  }
  std::vector<uint8_t> weight(kW * kH, 255);
  std::vector<uint8_t> scratch(FuseLowPassScratchSize(kW, kH));
  for (const int threshold : {5, 20, 500, 1000, 100000, -300}) {
    std::vector<int16_t> out(b);
    FuseLowPass({a.data(), b.data(), out.data()}, weight.data(), kW, kH, threshold, scratch.data());
    for (int i = 0; i < kW * kH; ++i) {
      const int x = i % kW, y = i / kW, e = Energy(b, nullptr, kW, kH, x, y);
      const int16_t base = int16_t(threshold / 10);
      const int add = e <= 1 ? 0 : e < 66 ? int16_t((e - 2) * base * 9) >> 6 : int16_t(base * 576) >> 6;
      const int16_t local = int16_t(base + add);
      const int rest = local - std::min(Energy(b, &a, kW, kH, x, y), int(local));
      const int k = local == 0 ? 0 : int(256.0f * ReciprocalEstimate(local) * float(rest));
      ASSERT_EQ(out[i], int16_t((b[i] * 256 - k * int16_t(b[i] - a[i])) >> 8)) << threshold << ' ' << i;
    }
  }
  // Where no frame was folded, half of the result is the smoothed plane: an alternating one goes flat by
  // half.
  std::fill(weight.begin(), weight.end(), uint8_t{15});
  std::vector<int16_t> stripes(kW * kH);
  for (int i = 0; i < kW * kH; ++i) stripes[i] = i % kW % 2 == 0 ? 0 : 80;
  std::vector<int16_t> out(stripes);
  FuseLowPass({stripes.data(), stripes.data(), out.data()}, weight.data(), kW, kH, 50, scratch.data());
  for (int i = 0; i < kW * kH; ++i) EXPECT_EQ(out[i], i % kW % 2 == 0 ? 20 : 60) << i;
}

TEST(BandFusion, ReciprocalEstimateHasTheProcessorsBits) {
  EXPECT_EQ(ReciprocalEstimate(1.0f), 0.998046875f);
  EXPECT_EQ(ReciprocalEstimate(2.0f), 0.4990234375f);
  EXPECT_EQ(ReciprocalEstimate(-4.0f), -0.24951171875f);
  for (int v = 1; v < 5000; ++v) EXPECT_NEAR(ReciprocalEstimate(float(v)) * float(v), 1.0f, 1.0f / 256) << v;
}

}  // namespace
}  // namespace zolt
