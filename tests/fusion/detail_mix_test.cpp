#include "fusion/detail_mix.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/test_planes.h"

namespace zolt {
namespace {

using test::RandomPlane;

TEST(DetailMix, FullGainRestoresWhatTheHalfSizeLost) {
  const auto full = RandomPlane<uint8_t>(1000), doubled = RandomPlane<uint8_t>(1003);
  std::vector<uint8_t> out(doubled.begin(), doubled.begin() + 1000);
  const std::vector<uint8_t> edge(1000, 255), weight(1000, 225);
  DetailAdd(out.data(), full.data(), doubled.data(), edge.data(), weight.data(), 1000, {2, 0, 8});
  EXPECT_EQ(out, full);
}

// The definition with its sixteen-bit steps written out, in a loop that shares nothing with the kernel.
int Reference(int plane, int detail, int edge, int weight, const DetailGains& gains) {
  const int g = std::min(255, 128 + std::min(255, 2 * std::max(edge - 10, 0)));
  const int d = int16_t(uint16_t(detail * gains.base)) >> 1;
  const int t = int16_t(uint16_t(g * weight)) >> 7;
  const int16_t first = int16_t(uint16_t(d * gains.boost));
  const int e = int16_t(uint16_t(first * t)) >> (gains.shift + 1);
  return std::clamp(std::clamp(plane + d + e, -32768, 32767), 0, 255);
}

TEST(DetailMix, BoostWrapsAsSixteenBitLanesDo) {
  const auto plane = RandomPlane<uint8_t>(4000), edge = RandomPlane<uint8_t>(4001),
             weight = RandomPlane<uint8_t>(4002);
  const auto original = RandomPlane<uint8_t>(4003), doubled = RandomPlane<uint8_t>(4004);
  for (const DetailGains gains : {DetailGains{10, 10, 5}, {1, 3, 7}, {255, 255, 8}, {0, 10, 6}}) {
    std::vector<uint8_t> out(plane);
    DetailAdd(out.data(), original.data(), doubled.data(), edge.data(), weight.data(), 4000, gains);
    for (int i = 0; i < 4000; ++i)
      ASSERT_EQ(out[i], Reference(plane[i], original[i] - doubled[i], edge[i], weight[i], gains)) << i;
  }
}

TEST(DetailMix, WeightsMixAndWrapAboveTheFullOne) {
  const uint8_t other[] = {200, 200, 200, 200}, weight[] = {0, 64, 127, 150};
  uint8_t plane[] = {100, 100, 100, 100};
  WeightedMix(plane, other, weight, 4, 7);
  EXPECT_EQ(plane[0], (200 * 127 + 64) >> 7);
  EXPECT_EQ(plane[1], (100 * 64 + 200 * 63 + 64) >> 7);
  EXPECT_EQ(plane[2], (100 * 127 + 64) >> 7);
  // Eight frames fold to 150 of 127: what is missing is -23, the byte 233.
  EXPECT_EQ(plane[3], ((100 * 150 + 200 * 233 + 64) & 0xFFFF) >> 7 & 255);
}

TEST(DetailMix, ChromaFollowsTheMaskBitByBit) {
  std::vector<uint8_t> plane(20, 10), mask(20, 0);
  const std::vector<uint8_t> other(20, 21);
  mask[1] = 1;
  mask[2] = 2;
  mask[3] = 255;
  ChromaMix(plane.data(), other.data(), mask.data(), 20);
  EXPECT_EQ(plane[0], 16);
  EXPECT_EQ(plane[1], (10 & 128) | (16 & 127));
  EXPECT_EQ(plane[2], 10);
  EXPECT_EQ(plane[3], 10);
  for (int i = 16; i < 20; ++i) EXPECT_EQ(plane[i], 10) << "a part block stays";
}

}  // namespace
}  // namespace zolt
