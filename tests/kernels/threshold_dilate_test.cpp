#include "kernels/threshold_dilate.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/result_codes.h"
#include "support/log_lines.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

std::vector<uint8_t> SlowThresholdDilate(const std::vector<uint8_t>& plane, int w, int h, int threshold) {
  std::vector<uint8_t> out(plane.size(), 0);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      if (plane[y * w + x] < threshold) continue;
      for (int v = std::max(0, y - 3); v <= std::min(h - 1, y + 3); ++v) {
        for (int u = std::max(0, x - 3); u <= std::min(w - 1, x + 3); ++u) out[v * w + u] = 255;
      }
    }
  }
  return out;
}

TEST(ThresholdDilate, EqualsTheWindowFormOnBothSidesOfTheNarrowWidth) {
  for (const int w : {1, 2, 7, 16, 31, 32, 33, 34, 63, 64, 65, 100}) {
    for (const int h : {1, 3, 8, 25}) {
      for (const int threshold : {0, 1, 50, 252, 255}) {
        std::vector<uint8_t> plane = test::RandomPlane<uint8_t>(w * h);
        const std::vector<uint8_t> expected = SlowThresholdDilate(plane, w, h, threshold);
        std::vector<uint8_t> temporary(w < 33 ? plane.size() : 0);
        ASSERT_EQ(ThresholdDilate(plane.data(), w, h, threshold, temporary.data()), kOk);
        ASSERT_EQ(plane, expected) << w << "x" << h << " threshold " << threshold;
      }
    }
  }
}

TEST(ThresholdDilate, ARefusedBitPlaneIsLoggedAndReturned) {
  std::vector<uint8_t> plane = test::RandomPlane<uint8_t>(40 * 40), temporary(32 * 32);
  test::TakeLogLines();
  bit_mask_malloc = [](size_t) -> void* { return nullptr; };
  EXPECT_EQ(ThresholdDilate(plane.data(), 40, 40, 50, nullptr), kNoMemory);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "Memery Allocating Error!"));
  EXPECT_EQ(ThresholdDilate(plane.data(), 32, 32, 50, temporary.data()), kOk);  // takes no block
  bit_mask_malloc = std::malloc;
  EXPECT_EQ(ThresholdDilate(plane.data(), 40, 40, 50, nullptr), kOk);
}

}  // namespace
}  // namespace zolt
