#include "noise/wavelet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Samples = std::vector<int16_t>;

TEST(Wavelet, ThreeLevelsComeBackBitForBit) {
  const int w = 64, h = 48, pitch = 72;
  for (const Samples& plane :
       {test::RandomPlane<int16_t>(pitch * h, 256), test::RandomPlane<int16_t>(pitch * h, 2, 0),
        test::RandomPlane<int16_t>(pitch * h, 65536, -32768)}) {
    Samples bands = plane, temporary(w * h);
    for (int k = 0; k < 3; ++k) WaveletForward(bands.data(), w >> k, h >> k, pitch, temporary.data());
    EXPECT_NE(bands, plane);
    for (int k = 2; k >= 0; --k) WaveletInverse(bands.data(), w >> k, h >> k, pitch, temporary.data());
    EXPECT_EQ(bands, plane);
  }
}

TEST(Wavelet, SmallestPlaneAndConstantPlane) {
  Samples plane = {10, 20, 30, 70}, temporary(4);
  WaveletForward(plane.data(), 2, 2, 2, temporary.data());
  // Columns: d = 20, 50 and s = 10 + 10, 20 + 25; rows: 45 - 20 = 25, 20 + 12; 50 - 20 = 30, 20 + 15.
  EXPECT_EQ(plane, (Samples{32, 25, 35, 30}));
  Samples flat(32 * 16, 200), more(32 * 16);
  WaveletForward(flat.data(), 32, 16, 32, more.data());
  for (int i = 0; i < 32 * 16; ++i) ASSERT_EQ(flat[i], i / 32 < 8 && i % 32 < 16 ? 200 : 0);
}

// A vertical edge shows up as horizontal detail, to the right; a horizontal edge below.
TEST(Wavelet, QuadrantsHoldTheirDirection) {
  const int side = 16;
  const auto energy = [&](const Samples& p, int row, int column) {
    int sum = 0;
    for (int i = 0; i < 64; ++i) sum += std::abs(p[(row + i / 8) * side + column + i % 8]);
    return sum;
  };
  for (const bool vertical : {true, false}) {
    Samples plane(side * side), temporary(side * side);
    for (int i = 0; i < side * side; ++i) plane[i] = (vertical ? i % side : i / side) >= 7 ? 200 : 50;
    WaveletForward(plane.data(), side, side, side, temporary.data());
    EXPECT_EQ(energy(plane, 0, 8) > 0, vertical);
    EXPECT_EQ(energy(plane, 8, 0) > 0, !vertical);
    EXPECT_EQ(energy(plane, 8, 8), 0);
  }
}

}  // namespace
}  // namespace zolt
