#include "burst/alignment/warp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

/// Twice the size, the same area, and 4:2:0 chroma beside it.
constexpr PlaneGrid kDoubleLumaGrid = {0.5, -0.25}, kDoubleChromaGrid = {1, 0};

/// Planes in blocks of exactly their size.
struct Plane {
  Plane(int w, int h, uint8_t value = 77) : width(w), height(h), bytes(static_cast<size_t>(w) * h, value) {}
  operator MutablePlane() { return {bytes.data(), width, height, width}; }
  PlaneView View() const { return {bytes.data(), width, height, width}; }
  int At(int x, int y) const {
    return bytes[static_cast<size_t>(std::clamp(y, 0, height - 1)) * width + std::clamp(x, 0, width - 1)];
  }
  int width, height;
  std::vector<uint8_t> bytes;
};

Plane Textured(int w, int h) {
  const test::Frame frame = test::TexturedFrame(w, h, 2);
  Plane plane(w, h);
  std::copy_n(frame.bytes.begin(), plane.bytes.size(), plane.bytes.begin());
  return plane;
}

/// Rotation about the middle with a shift and some perspective.
Homography Turned(int width, int height, double sine, double x, double y) {
  const double c = std::sqrt(1 - sine * sine), mx = 0.5 * width, my = 0.5 * height;
  return {{c, -sine, mx - c * mx + sine * my + x, sine, c, my - sine * mx - c * my + y, 1e-6, -2e-6}};
}

double Keys(double t) {
  constexpr double a = -0.625;
  t = std::abs(t);
  if (t < 1) return ((a + 2) * t - (a + 3)) * t * t + 1;
  return t < 2 ? a * (((t - 5) * t + 8) * t - 4) : 0;
}

double SlowSample(const Plane& from, double x, double y) {
  const int left = static_cast<int>(std::floor(x)), top = static_cast<int>(std::floor(y));
  double sum = 0;
  for (int j = -1; j <= 2; ++j) {
    for (int i = -1; i <= 2; ++i) sum += Keys(x - left - i) * Keys(y - top - j) * from.At(left + i, top + j);
  }
  return std::clamp(sum, 0.0, 255.0);
}

TEST(Warp, IdentityAndWholeShiftsGiveTheSamePixels) {
  for (const auto& [width, height] : {std::pair{8, 8}, {15, 9}, {16, 16}, {17, 40}, {231, 57}}) {
    Plane from(width, height);
    from.bytes = test::RandomPlane<uint8_t>(width * height);
    Plane out(width, height), outside(width, height);
    ASSERT_TRUE(WarpPlane(out, outside, from.View(), Homography::Identity(), {}, 2));
    EXPECT_EQ(out.bytes, from.bytes);
    EXPECT_EQ(std::count(outside.bytes.begin(), outside.bytes.end(), 0), width * height);
    uint8_t negative[256];
    for (int v = 0; v < 256; ++v) negative[v] = static_cast<uint8_t>(255 - v);
    ASSERT_TRUE(WarpPlane(out, outside, from.View(), Homography::Translation(3, -2), {negative, {}}, 1));
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const size_t i = static_cast<size_t>(y) * width + x;
        const bool shown = x + 3 < width && y >= 2;
        EXPECT_EQ(outside.bytes[i], shown ? 0 : 255);
        if (shown) {
          EXPECT_EQ(out.bytes[i], 255 - from.At(x + 3, y - 2));
        }
      }
    }
  }
}

/// Within the rounding of 16 bits of what doubles give by both directions at once, and the mask to the pixel.
TEST(Warp, EqualsTheCubicInDoubles) {
  const Plane from = Textured(331, 247);
  for (const double sine : {0.0, 0.004, -0.02, 0.0523}) {
    const Homography luma = Turned(from.width, from.height, sine, 5.3, -3.8);
    for (const int scale : {1, 2}) {
      const Homography motion = ForPlane(luma, scale == 1 ? kLumaGrid : kDoubleLumaGrid, kLumaGrid);
      Plane out(331 * scale, 247 * scale), outside(331 * scale, 247 * scale);
      ASSERT_TRUE(WarpPlane(out, outside, from.View(), motion, {}, 3));
      double sum = 0, largest = 0;
      int count = 0;
      for (int y = 0; y < out.height; ++y) {
        for (int x = 0; x < out.width; ++x) {
          double to_x, to_y;
          motion.Map(x, y, &to_x, &to_y);
          const double beyond = std::max({-to_x, to_x - 330, -to_y, to_y - 246});
          if (std::abs(beyond - 0.25) > 0.001) {
            EXPECT_EQ(outside.At(x, y), beyond > 0.25 ? 255 : 0) << x << " " << y;
          }
          if (beyond > -2) continue;
          const double error = std::abs(out.At(x, y) - SlowSample(from, to_x, to_y));
          sum += error;
          largest = std::max(largest, error);
          ++count;
        }
      }
      EXPECT_GT(count, out.width * out.height / 2);
      EXPECT_LT(sum / count, 0.3) << sine;
      EXPECT_LT(largest, 3) << sine;
    }
  }
}

/// On a ramp any place can be read off the value: luma x and chroma of the same ramp move by the same way.
TEST(Warp, ChromaMovesAsLumaDoes) {
  const Homography motion = {{1, 0, 5.5, 0, 1, -3, 0, 0}};
  Plane ramp(64, 40), chroma(32, 20);
  for (size_t i = 0; i < ramp.bytes.size(); ++i) ramp.bytes[i] = static_cast<uint8_t>(40 + 2 * (i % 64));
  for (size_t i = 0; i < chroma.bytes.size(); ++i) chroma.bytes[i] = static_cast<uint8_t>(41 + 4 * (i % 32));
  Plane native(32, 20), twice(128, 80), twice_chroma(64, 40);
  ASSERT_TRUE(WarpPlane(native, {}, chroma.View(), ForPlane(motion, kChromaGrid, kChromaGrid), {}, 1));
  ASSERT_TRUE(WarpPlane(twice, {}, ramp.View(), ForPlane(motion, kDoubleLumaGrid, kLumaGrid), {}, 1));
  ASSERT_TRUE(
      WarpPlane(twice_chroma, {}, chroma.View(), ForPlane(motion, kDoubleChromaGrid, kChromaGrid), {}, 1));
  for (int x = 4; x < 20; ++x) {
    EXPECT_NEAR(native.At(x, 9), 40 + 2 * (2 * x + 0.5 + 5.5), 0.6);
    EXPECT_NEAR(twice.At(x, 30), 40 + 2 * ((x - 0.5) / 2 + 5.5), 0.6);
    EXPECT_NEAR(twice_chroma.At(x, 15), 40 + 2 * (x + 5.5), 0.6);
  }
}

TEST(Warp, SameBytesOnEveryProcessorAndNumberOfThreads) {
  const Plane from = Textured(333, 250);
  uint64_t digest = 0xCBF29CE484222325u;
  for (const double sine : {0.0, 0.01, -0.05}) {
    const Homography motion = ForPlane(Turned(333, 250, sine, -7.1, 2.2), kDoubleLumaGrid, kLumaGrid);
    Plane one(666, 500), other(666, 500), outside(666, 500);
    ASSERT_TRUE(WarpPlane(one, outside, from.View(), motion, {}, 1));
    for (const int threads : {2, 100}) {
      ASSERT_TRUE(WarpPlane(other, {}, from.View(), motion, {}, threads));
      EXPECT_EQ(other.bytes, one.bytes);
    }
    const test::ThreadFailure failure(1, true);
    ASSERT_TRUE(WarpPlane(other, {}, from.View(), motion, {}, 4));
    EXPECT_EQ(other.bytes, one.bytes);
    for (const uint8_t v : one.bytes) digest = (digest ^ v) * 0x100000001B3u;
    for (const uint8_t v : outside.bytes) digest = (digest ^ v) * 0x100000001B3u;
  }
  EXPECT_EQ(digest, 8814024186139108398u);
}

TEST(Warp, TakesMotionsThatNoHandMakes) {
  const Plane from = Textured(70, 50);
  Plane out(70, 50), outside(70, 50);
  const auto all_outside = [&] {
    return std::count(outside.bytes.begin(), outside.bytes.end(), 255) == 70 * 50;
  };
  for (const Homography& motion : {Homography{{0, -1, 49, 1, 0, 0, 0, 0}}, Homography::Translation(1e12, 0),
                                   Homography::Translation(-90, 3), Homography{{-1, 0, 69, 0, -1, 49, 0, 0}},
                                   Homography{{NAN, 0, 0, 0, 1, 0, 0, 0}}}) {
    ASSERT_TRUE(WarpPlane(out, outside, from.View(), motion, {}, 2));
    EXPECT_TRUE(all_outside());
  }
  for (const Homography& motion :
       {Homography{{1, 0, 0, 0, 1, 0, 0.014, 0}}, Homography{{1, 0, 0, 0, 1, 0, -0.0144, 0}},
        Homography{{9, 0, -100, 0, 9, 0, 0, 0}}, Homography{{1, 0.9, 0, 0.9, 1, 0, 0, -0.1}}}) {
    EXPECT_TRUE(WarpPlane(out, outside, from.View(), motion, {}, 2));
  }
}

}  // namespace
}  // namespace zolt
