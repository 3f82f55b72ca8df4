#include "fusion/bgr_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/test_planes.h"

namespace zolt {
namespace {

using test::RandomPlane;

struct Planes {
  Planes(int w, int h) : b(w * h), g(w * h), r(w * h) {}
  PlaneSet set() { return {b.data(), g.data(), r.data()}; }
  std::vector<uint8_t> b, g, r;
};

TEST(BgrConversion, FollowsTheFormulasOverTheWholeRange) {
  constexpr int kW = 24, kH = 8;
  auto y = RandomPlane<uint8_t>(kW * kH), u = RandomPlane<uint8_t>(kW * kH / 4),
       v = RandomPlane<uint8_t>(kW * kH / 4);
  y[0] = y[1] = u[0] = v[0] = 255;
  y[2] = y[3] = u[1] = v[1] = 0;
  std::reverse(v.begin(), v.end());
  Planes bgr(kW, kH);
  YuvToBgr({y.data(), u.data(), v.data()}, bgr.set(), kW, 0, kH / 2);
  YuvToBgr({y.data(), u.data(), v.data()}, bgr.set(), kW, kH / 2, kH / 2);
  for (int row = 0; row < kH; ++row) {
    for (int x = 0; x < kW; ++x) {
      const int i = row * kW + x;
      const int du = u[(row / 2) * (kW / 2) + x / 2] - 127, dv = v[(row / 2) * (kW / 2) + x / 2] - 127;
      EXPECT_EQ(bgr.b[i], std::clamp((64 * y[i] + 114 * du + 32) >> 6, 0, 255));
      EXPECT_EQ(bgr.g[i], std::clamp((64 * y[i] - 46 * dv - 22 * du + 32) >> 6, 0, 255));
      EXPECT_EQ(bgr.r[i], std::clamp((64 * y[i] + 90 * dv + 32) >> 6, 0, 255));
    }
  }
}

TEST(BgrConversion, GreyComesBackAndChromaIsTakenFromTheEvenPixel) {
  constexpr int kW = 16, kH = 4;
  Planes bgr(kW, kH);
  for (int i = 0; i < kW * kH; ++i) bgr.b[i] = bgr.g[i] = bgr.r[i] = static_cast<uint8_t>(4 * i);
  bgr.b[0] = 200;  // an even pixel of an even row colours its block
  bgr.b[3] = 255;  // an odd one does not
  std::vector<uint8_t> y(kW * kH), u(kW * kH / 4), v(kW * kH / 4);
  BgrToYuv(bgr.set(), {y.data(), u.data(), v.data()}, kW, 0, kH);
  EXPECT_EQ(y[5], 20);
  EXPECT_EQ(y[0], (7 * 200 + 32) >> 6);
  EXPECT_EQ(u[0], std::min(255, (36 * (200 - y[0]) + 8160) >> 6));
  EXPECT_EQ(v[0], (46 * (0 - y[0]) + 8160) >> 6);
  EXPECT_EQ(u[1], 127);
  EXPECT_EQ(v[1], 127);
}

}  // namespace
}  // namespace zolt
