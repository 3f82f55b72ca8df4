#include "registration/warp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "base/arithmetic.h"
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

/// The warp one block at a time, every sample clamped, in the widest arithmetic.
struct SlowWarp {
  const Planes& from;
  Planes& to;
  const Homography& h;
  Rect rect;
  bool planar;

  int Luma(int64_t x, int64_t y) const {
    return from.y[Clamp<int64_t>(y, 0, from.height - 1) * from.width + Clamp<int64_t>(x, 0, from.width - 1)];
  }

  void Block(int x, int y, float r) {
    const auto c = static_cast<float>(x), row = static_cast<float>(y);
    const float sx = ((h[0] * c + h[1] * row) + h[2]) * r, sy = ((h[3] * c + h[4] * row) + h[5]) * r;
    const int64_t ix = TruncateToI32(sx), iy = TruncateToI32(sy);
    const int64_t fx = std::clamp<int64_t>(TruncateToI32(sx * 128) - ix * 128, -32768, 32767);
    const int64_t fy = std::clamp<int64_t>(TruncateToI32(sy * 128) - iy * 128, -32768, 32767);
    for (int i = 0; i < 2; ++i) {
      for (int j = 0; j < 2; ++j) {
        int64_t t[2];
        for (int k = 0; k < 2; ++k) {
          t[k] = (Luma(ix + j, iy + i + k) * (128 - fx) + Luma(ix + j + 1, iy + i + k) * fx + 32) >> 6;
        }
        const int64_t value = (t[0] * (128 - fy) + t[1] * fy + 128) >> 8;
        to.y[(y + i) * to.width + x + j] = static_cast<uint8_t>(std::clamp<int64_t>(value, 0, 255));
      }
    }
    const int w2 = to.width / 2, h2 = to.height / 2;
    const int64_t index =
        Clamp<int64_t>((iy + 1) >> 1, 0, h2 - 1) * w2 + Clamp<int64_t>((ix + 1) >> 1, 0, w2 - 1);
    const int out = y / 2 * w2 + x / 2;
    if (planar) {
      to.u[out] = from.u[index];
      to.v[out] = from.v[index];
    } else {
      for (int b = 0; b < 2; ++b) to.u[2 * out + b] = from.u[2 * index + b];
    }
  }

  /// Nearest inside column or row of a mirrored one.
  static int Mirrored(int v, int begin, int end) {
    return v < begin ? 2 * begin - v : v >= end ? 2 * end - 1 - v : v;
  }

  static void Mirror(std::vector<uint8_t>& plane, int w, int h, const Rect& r) {
    const std::vector<uint8_t> inside = plane;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        plane[y * w + x] = inside[Mirrored(y, r[1], r[1] + r[3]) * w + Mirrored(x, r[0], r[0] + r[2])];
      }
    }
  }

  void Run() {
    if (!planar) to = from;
    for (int y = rect[1]; y < rect[1] + rect[3]; y += 2) {
      float den = (h[6] * static_cast<float>(rect[0]) + h[7] * static_cast<float>(y)) + 1;
      for (int x = rect[0]; x < rect[0] + rect[2]; x += 8, den += 8 * h[6]) {
        for (int k = 0; k < 8; k += 2) Block(x + k, y, 1 / den);
      }
    }
    if (!planar) return;
    const Rect half = {rect[0] / 2, rect[1] / 2, rect[2] / 2, rect[3] / 2};
    Mirror(to.y, to.width, to.height, rect);
    Mirror(to.u, to.width / 2, to.height / 2, half);
    Mirror(to.v, to.width / 2, to.height / 2, half);
  }
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

// Vectorised and contiguous forms, chunk ends, frame edges, borders and both chroma layouts against the slow
// form.
TEST(WarpFrame, EqualsTheSlowFormForEveryMotionSizeAndLayout) {
  for (const YuvImage& size : test::AwkwardSizes()) {
    for (const bool planar : {true, false}) {
      Planes from(size.width, size.height, planar), expected(size.width, size.height, planar), to = expected;
      const auto rects = Rects(size.width, size.height);
      int motion = 0;
      for (const Homography& h : Motions(size.width, size.height)) {
        for (const int r : {motion % 3, (motion + 1) % 3}) {
          const Rect& rect = rects[static_cast<size_t>(r)];
          SlowWarp{from, expected, h, rect, planar}.Run();
          EXPECT_EQ(Warp(from, to, h, rect, planar ? 2 : 1), 0);
          ASSERT_TRUE(to == expected)
              << size.width << "x" << size.height << " planar " << planar << " motion " << motion;
        }
        ++motion;
      }
    }
  }
}

TEST(WarpFrame, NoHomographyReadsOutsideTheFrame) {
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  for (const bool planar : {true, false}) {
    Planes from(264, 72, planar), expected(264, 72, planar), to = expected;
    for (const float v : {inf, -inf, nan, 3e38f, -3e38f, 1e10f, -1e10f, 16777216.0f, -3e9f, 1e-30f}) {
      for (int i = 0; i < 9; ++i) {
        Homography h = Rotation(1, 1, 0.5f, 0.5f);
        h[i] = v;
        SlowWarp{from, expected, h, {4, 2, 256, 64}, planar}.Run();
        EXPECT_EQ(Warp(from, to, h, {4, 2, 256, 64}, planar ? 2 : 1), 0);
        ASSERT_TRUE(to == expected) << v << " as entry " << i;
      }
    }
  }
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
