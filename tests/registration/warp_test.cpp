#include "registration/warp.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "support/digest.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

using Homography = std::array<float, 9>;
using Rect = std::array<int32_t, 4>;

Homography Translation(float dx, float dy) {
  return {1, 0, dx, 0, 1, dy, 0, 0, 1};
}

Homography Rotation(double degrees, double zoom, float dx, float dy, float h6 = 0, float h7 = 0) {
  const double a = degrees * 3.14159265358979323846 / 180;
  const auto c = static_cast<float>(zoom * std::cos(a)), s = static_cast<float>(zoom * std::sin(a));
  return {c, -s, dx, s, c, dy, h6, h7, 1};
}

/// Exact-size planes, so that the address sanitizer sees the first byte beyond any of them.
struct Planes {
  Planes(int w, int h, bool planar) : width(w), height(h) {
    y = test::RandomPlane<uint8_t>(int64_t{w} * h);
    u = test::RandomPlane<uint8_t>(int64_t{w} * h / (planar ? 4 : 2), 200, 10);
    if (planar) v = test::RandomPlane<uint8_t>(int64_t{w} * h / 4, 100, 50);
  }
  YuvImage image() { return {width, height, width, y.data(), u.data(), v.data()}; }
  bool operator==(const Planes&) const = default;
  int width, height;
  std::vector<uint8_t> y, u, v;
};

int32_t Warp(Planes& from, Planes& to, const Homography& h, const Rect& rect, int32_t plane_count) {
  std::vector<float> columns(WarpColumns(rect[2]));
  return WarpFrame(from.image(), to.image(), h.data(), rect.data(), columns.data(), plane_count);
}

/// A rectangle well inside, and one that is the whole frame cut to multiples of 8.
std::vector<Rect> Rects(int w, int h) {
  return {{0, 0, w, h}, {6, 4, (w - 6) / 8 * 8, (h - 4) / 8 * 8}, {2, 10, w / 8 * 8 - 16, h / 8 * 8 - 24}};
}

std::vector<Homography> Motions(int w, int h) {
  const auto fw = static_cast<float>(w), fh = static_cast<float>(h);
  return {Translation(0, 0),
          Translation(3, -2),
          Translation(-0.3f, -0.7f),
          Translation(0.49f * fw, 0.3f),
          Rotation(1.3, 1.01, 2.25f, 1.5f),
          Rotation(-2, 0.97, 0.02f * fw, 0.05f * fh, 3e-5f, -2e-5f),
          Rotation(0.4, 1, 1, 1, -9e-5f, 9e-5f),
          Rotation(180, 1, fw - 1, fh - 1),
          Rotation(45, 3, -fw, 10, 0.002f, -0.003f)};
}

uint64_t DigestOf(const Planes& planes) {
  return (test::Digest(planes.y) * 3 + test::Digest(planes.u)) * 3 + test::Digest(planes.v);
}

// Contiguous blocks and scattered ones, ends of rows, edges of the frame, borders and both layouts of chroma.
TEST(WarpFrame, IsTheSameOnEveryPlatform) {
  uint64_t digest = 0;
  for (const YuvImage& size : test::AwkwardSizes()) {
    for (const bool planar : {true, false}) {
      Planes from(size.width, size.height, planar), to(size.width, size.height, planar);
      const auto rects = Rects(size.width, size.height);
      int motion = 0;
      for (const Homography& h : Motions(size.width, size.height)) {
        for (const int r : {motion % 3, (motion + 1) % 3}) {
          EXPECT_EQ(Warp(from, to, h, rects[static_cast<size_t>(r)], planar ? 2 : 1), 0);
          digest = digest * 3 + DigestOf(to);
        }
        ++motion;
      }
    }
  }
  EXPECT_EQ(digest, 7258651172126426312u);
}

TEST(WarpFrame, NoHomographyReadsOutsideTheFrame) {
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  uint64_t digest = 0;
  for (const bool planar : {true, false}) {
    Planes from(264, 72, planar), to(264, 72, planar);
    for (const float v : {inf, -inf, nan, 3e38f, -3e38f, 1e10f, -1e10f, 16777216.0f, -3e9f, 1e-30f}) {
      for (int i = 0; i < 9; ++i) {
        Homography h = Rotation(1, 1, 0.5f, 0.5f);
        h[i] = v;
        EXPECT_EQ(Warp(from, to, h, {4, 2, 256, 64}, planar ? 2 : 1), 0);
        digest = digest * 3 + DigestOf(to);
      }
    }
  }
  EXPECT_EQ(digest, 9748962566093567951u);
}

TEST(WarpFrame, FailingThreadsChangeNothing) {
  Planes from(400, 400, true), expected(400, 400, true), to = expected;
  const Homography h = Rotation(1, 1, 2, 2);
  Warp(from, expected, h, {8, 8, 384, 376}, 2);
  for (int k = 0; k < 4; ++k) {
    const test::ThreadFailure failure(k);
    EXPECT_EQ(Warp(from, to, h, {8, 8, 384, 376}, 2), 0);
    EXPECT_TRUE(to == expected) << k;
  }
}

}  // namespace
}  // namespace zolt
