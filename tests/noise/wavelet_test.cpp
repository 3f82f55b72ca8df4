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

}  // namespace
}  // namespace zolt
