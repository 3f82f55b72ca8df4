#include "ghost/difference_mask.h"

#include <gtest/gtest.h>

#include <climits>

#include "support/slow_ghost.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

std::vector<uint8_t> FastMask(const PlanePair& planes, MaskScale scale, const DifferenceLimits& limits) {
  const int columns = planes.w / static_cast<int>(scale), rows = planes.h / static_cast<int>(scale);
  std::vector<uint8_t> block(DifferenceRows::Size(columns)), mask(columns * rows, 0x5A);
  RegionCutter cutter(block.data(), block.size());
  DifferenceMask(planes, scale, limits, DifferenceRows::Cut(&cutter, &cutter, columns), mask.data());
  return mask;
}

/// A second scene with noise, its middle third full-range noise: limits near 0 and near 255 both part the
/// pixels.
test::Frame OtherFrame(int w, int h) {
  test::Frame frame = test::TexturedFrame(w, h, 2);
  test::AddNoise(&frame, 8.0, 3);
  const std::vector<uint8_t> noise = test::RandomPlane<uint8_t>(w * h / 3);
  std::copy(noise.begin(), noise.end(), frame.bytes.begin() + w * h / 3);
  return frame;
}

TEST(DifferenceMask, EqualsTheStepByStepForm) {
  const DifferenceLimits limits[] = {{10, 20, 100},          {0, 0, 0},        {20, 3, 255},
                                     {3, 40, 128},           {-1, 5, 90},      {255, 12, INT_MAX},
                                     {INT_MAX, 60, INT_MIN}, {2, INT_MIN, 70}, {65536, 65537, 128}};
  for (const auto& [w, h] : {std::pair{64, 64}, {72, 64}, {152, 24}, {24, 136}, {264, 32}}) {
    test::Frame first = test::TexturedFrame(w, h), aligned = OtherFrame(w, h);
    const PlanePair planes = {aligned.image().y, first.image().y, w, h};
    for (const MaskScale scale : {MaskScale::kQuarter, MaskScale::kHalf, MaskScale::kFull}) {
      for (const DifferenceLimits& limit : limits) {
        ASSERT_EQ(FastMask(planes, scale, limit), test::SlowDifferenceMask(planes, scale, limit))
            << w << "x" << h << " scale " << static_cast<int>(scale) << " limits " << limit.low << " "
            << limit.high;
      }
    }
  }
}

TEST(DifferenceMask, TheLargestDifferencesStayWithinSixteenBits) {
  const std::vector<uint8_t> white(48 * 48, 255), black(48 * 48, 0);
  for (const auto& [a, b] : {std::pair{&white, &black}, {&black, &white}}) {
    const PlanePair planes = {a->data(), b->data(), 48, 48};
    // Column 1 is lifted by its row weights: 255 * 74 >> 6 = 294, or -295 rounded towards minus infinity.
    const int lifted = a == &white ? 294 : 295;
    for (const int limit : {254, lifted - 1, lifted}) {
      const std::vector<uint8_t> mask = FastMask(planes, MaskScale::kFull, {limit, limit, 0});
      for (int i = 0; i < 48 * 48; ++i) {
        const bool set = i % 48 == 1 ? limit < lifted : limit < 255;
        ASSERT_EQ(mask[i], set ? 255 : 0) << i << " limit " << limit;
      }
    }
  }
}

}  // namespace
}  // namespace zolt
