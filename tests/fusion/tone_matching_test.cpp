#include "fusion/tone_matching.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

#include "support/test_planes.h"

namespace zolt {
namespace {

using test::RandomPlane;

ToneTables Identity() {
  ToneTables tones;
  for (auto& table : tones.table) {
    for (int i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(i);
  }
  return tones;
}

TEST(ToneMatching, TapsHaveTheKnownBits) {
  constexpr uint32_t kBits[] = {0x3A864AF5, 0x3B02A789, 0x3B710B6A, 0x3BD2D201, 0x3C2ED2CB,
                                0x3C89744F, 0x3CCCEFBD, 0x3D10D9E5, 0x3D422529, 0x3D76B821,
                                0x3D94A297, 0x3DA9CD33, 0x3DB7EC0D, 0x3DBCE29B};
  float taps[27];
  GaussianTaps(taps, 27);
  for (int k = 0; k < 14; ++k) {
    EXPECT_EQ(std::bit_cast<uint32_t>(taps[k]), kBits[k]) << k;
    EXPECT_EQ(std::bit_cast<uint32_t>(taps[26 - k]), kBits[k]) << k;
  }
}

TEST(ToneMatching, ATableRisesByTwoUntilItCatchesUpAndThenMayJump) {
  // The accumulated image knows dark levels 10..13 alone, the aligned one is far brighter.
  const auto dark = RandomPlane<uint8_t>(64 * 64, 4, 10);
  const auto bright = RandomPlane<uint8_t>(64 * 64, 4, 200);
  std::vector<uint8_t> scratch(64 * 64 / 8);
  uint8_t table[256];
  ToneFromHistogram(bright.data(), dark.data(), 64, 64, table, scratch.data());
  EXPECT_EQ(table[0], 0);
  int largest = 0;
  for (int i = 1; i < 256; ++i) {
    EXPECT_GE(table[i], table[i - 1]);
    EXPECT_GE(table[i], std::min(i, table[i - 1] + 2));
    largest = std::max(largest, table[i] - table[i - 1]);
  }
  EXPECT_EQ(largest, 2);
  EXPECT_EQ(table[60], 10 + 2 * 50)
      << "the identity up to the first dark level of the reduced plane, 11, then two a level";
}

TEST(ToneMatching, KernelSizeFollowsTheSteepestRise) {
  for (const auto& [rise, size] : {std::pair{2, 27}, {10, 27}, {11, 29}, {25, 57}, {26, 57}, {200, 57}}) {
    ToneTables tones = Identity();
    tones.table[2][40] = 39;
    tones.table[2][41] = static_cast<uint8_t>(39 + rise);
    for (int i = 42; i < 256; ++i)
      tones.table[2][i] = std::max<uint8_t>(tones.table[2][41], tones.table[2][i]);
    EXPECT_EQ(ToneKernelSize(tones), size) << rise;
  }
}

TEST(ToneMatching, BlownOutPixelsTakeTheAccumulatedColours) {
  constexpr int kCount = 40;  // two blocks of 16 and a tail of 8 that makes its last 16 again
  std::vector<uint8_t> own[3], other[3], luma(kCount, 100);
  for (int c = 0; c < 3; ++c)
    own[c].assign(kCount, static_cast<uint8_t>(10 + c)), other[c].assign(kCount, 77);
  luma[3] = 253;
  luma[4] = 252;
  luma[39] = 255;    // in the tail: plane 0 follows the luma,
  own[1][38] = 254;  // planes 1 and 2 their own value
  const PlaneSet aligned = {own[0].data(), own[1].data(), own[2].data()};
  HighlightSwap({other[0].data(), other[1].data(), other[2].data()}, aligned, luma.data(), 0, kCount, 252);
  for (int c = 0; c < 3; ++c) {
    EXPECT_EQ(own[c][3], 77);
    EXPECT_EQ(own[c][4], 10 + c);
  }
  EXPECT_EQ(own[0][39], 77);
  EXPECT_EQ(own[1][39], 11);
  EXPECT_EQ(own[1][38], 77);
  EXPECT_EQ(own[0][38], 10);
}

}  // namespace
}  // namespace zolt
