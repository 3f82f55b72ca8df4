#include "registration/motion_area.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "base/random.h"
#include "registration/homography.h"
#include "support/digest.h"
#include "support/log_lines.h"

namespace zolt {
namespace {

using Homography = std::array<float, 9>;
using Rect = std::array<int32_t, 4>;

constexpr char kIncorrect[] = "IMG_REGISTRATION: Incorrect h!";
constexpr char kTooLarge[] = "IMG_REGISTRATION: the global motion between two frames is too large!";
constexpr char kAreaError[] = "IMG_REGISTRATION: calculate motion area error!";
constexpr Rect kUntouched = {-1, -2, -3, -4};

Homography Translation(float dx, float dy) {
  return {1, 0, dx, 0, 1, dy, 0, 0, 1};
}

void ExpectArea(const Homography& h, int32_t width, int32_t height, const Rect& expected) {
  Rect rect = kUntouched;
  test::TakeLogLines();
  EXPECT_EQ(MotionArea(h.data(), width, height, rect.data()), 0);
  EXPECT_EQ(rect, expected) << h[2] << " " << h[5];
  EXPECT_TRUE(test::TakeLogLines().empty());
}

void ExpectRefused(const Homography& h, int32_t width, int32_t height, const char* why) {
  Rect rect = kUntouched;
  test::TakeLogLines();
  EXPECT_EQ(MotionArea(h.data(), width, height, rect.data()), 3);
  EXPECT_EQ(rect, kUntouched);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 4, why)) << why;
}

// The last two columns and rows are left out for the interpolation.
TEST(MotionArea, TranslationsGiveTheOverlapInBlocks) {
  ExpectArea(Translation(0, 0), 1000, 800, {0, 0, 992, 792});
  ExpectArea(Translation(100, 50), 1000, 800, {0, 0, 896, 744});
  ExpectArea(Translation(-100, -50), 1000, 800, {100, 50, 896, 744});
  // An odd corner moves inwards to an even one that ends the blocks as late as it can.
  ExpectArea(Translation(-3, -1), 1000, 800, {8, 6, 992, 792});
  ExpectArea(Translation(-0.4f, 0.4f), 1000, 800, {6, 0, 992, 792});
  // Turned, zoomed and tilted.
  ExpectArea({1.002f, -.002f, -213, -.032f, 1.026f, -103.75f, 3e-5f, 3e-5f, 1}, 1000, 760,
             {216, 144, 784, 616});
  ExpectArea({.989f, -.03f, -133.875f, -.002f, 1.018f, -151.875f, 6e-5f, 0, 1}, 1000, 760,
             {160, 152, 840, 608});
  ExpectArea({.96f, -.017f, -55.375f, .05f, 1.002f, -19.75f, 0, 3e-5f, 1}, 1000, 760, {72, 24, 928, 712});
  ExpectArea({.974f, .04f, 262.625f, .047f, .999f, 147.25f, 6e-5f, 6e-5f, 1}, 1000, 760, {0, 0, 800, 632});
}

TEST(MotionArea, RefusesToLoseMoreThan300) {
  ExpectArea(Translation(300, 0), 1000, 800, {0, 0, 696, 792});
  ExpectArea(Translation(-300, 0), 1000, 800, {300, 0, 696, 792});
  ExpectArea(Translation(0, 300), 1000, 800, {0, 0, 992, 496});
  ExpectRefused(Translation(301, 0), 1000, 800, kTooLarge);
  ExpectRefused(Translation(-301, 0), 1000, 800, kTooLarge);
  ExpectRefused(Translation(0, 301), 1000, 800, kTooLarge);
  ExpectRefused(Translation(0, -301), 1000, 800, kTooLarge);
}

TEST(MotionArea, RefusesHalfTheFrameOrLess) {
  ExpectArea(Translation(300, 0), 640, 800, {0, 0, 336, 792});
  ExpectArea(Translation(-40, 0), 96, 96, {40, 0, 56, 88});
  ExpectRefused(Translation(-48, 0), 96, 96, kAreaError);  // exactly half
  ExpectRefused(Translation(0, -48), 96, 96, kAreaError);
  ExpectRefused(Translation(1000, 0), 640, 800, kAreaError);  // nothing in common
  ExpectRefused(Translation(0, -900), 640, 800, kAreaError);
}

TEST(MotionArea, RefusesWhatIsNoCameraMotion) {
  ExpectRefused({1, 0, 0, 0, 1, 0, 0.00011f, 0, 1}, 1000, 800, kIncorrect);
  ExpectRefused({1, 0, 0, 0, 1, 0, 0, -0.00011f, 1}, 1000, 800, kIncorrect);
  ExpectRefused({0, 0, 0, 0, 0, 0, 0, 0, 0}, 1000, 800, kAreaError);
  // Perspective and shift together: the corners as mapped back miss those mapped forward by more than the
  // sides may be moved.
  ExpectRefused({1.2f, 0, 290, 0, 1, 0, 0.00005f, 0, 1}, 4000, 3000, kAreaError);
}

TEST(MotionArea, AcceptedRectanglesKeepTheirPromise) {
  MultiplyWithCarry random;
  const auto real = [&random](double range) {
    return static_cast<float>((random.Next(20001) / 10000.0 - 1) * range);
  };
  std::vector<int32_t> accepted;
  for (int i = 0; i < 3000; ++i) {
    const int32_t w = 64 + 8 * static_cast<int32_t>(random.Next(500));
    const int32_t h = 64 + 8 * static_cast<int32_t>(random.Next(400));
    const float angle = real(0.03), c = (1 - angle * angle / 2) * (1 + real(0.03));
    const Homography m = {c, -angle, real(w / 16.0), angle, c, real(h / 16.0), real(5e-5), real(5e-5), 1};
    Rect r = kUntouched;
    if (MotionArea(m.data(), w, h, r.data()) != 0) continue;
    accepted.insert(accepted.end(), r.begin(), r.end());
    ASSERT_TRUE(r[0] >= 0 && r[1] >= 0 && r[0] % 2 == 0 && r[1] % 2 == 0 && r[2] % 8 == 0 && r[3] % 8 == 0);
    ASSERT_TRUE(r[0] + r[2] <= w && r[1] + r[3] <= h && r[2] > w / 2 && r[3] > h / 2);
    for (const int x : {r[0], r[0] + r[2]}) {
      for (const int y : {r[1], r[1] + r[3]}) {
        const Point p = MapPoint(m.data(), {static_cast<float>(x), static_cast<float>(y)});
        ASSERT_TRUE(p.x > -1 && p.y > -1 && p.x < static_cast<float>(w - 1) &&
                    p.y < static_cast<float>(h - 1));
      }
    }
  }
  EXPECT_GT(accepted.size(), 4000u);
  EXPECT_EQ(test::Digest(accepted), 5518932559146224511u);
}

TEST(MotionArea, AnyNineFloatsAreSafe) {
  const float inf = std::numeric_limits<float>::infinity();
  const std::vector<float> values = {0, -1, 1e30f, -1e30f, 1e-30f, 3e38f, inf, -inf, std::nanf("")};
  for (int i = 0; i < 9; ++i) {
    for (int j = 0; j < 9; ++j) {
      for (const float a : values) {
        for (const float b : values) {
          Homography h = Translation(1, 2);
          h[i] = a;
          h[j] = b;
          Rect r = kUntouched;
          const int32_t result = MotionArea(h.data(), 1000, 800, r.data());
          EXPECT_TRUE(result == 0 || (result == 3 && r == kUntouched));
        }
      }
    }
  }
}

}  // namespace
}  // namespace zolt
