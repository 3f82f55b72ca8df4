#include "kernels/threshold_dilate.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/result_codes.h"
#include "support/log_lines.h"
#include "support/slow_ghost.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(ThresholdDilate, EqualsTheWindowFormOnBothSidesOfTheNarrowWidth) {
  for (const int w : {1, 2, 7, 16, 31, 32, 33, 34, 63, 64, 65, 100}) {
    for (const int h : {1, 3, 8, 25}) {
      for (const int threshold : {0, 1, 50, 252, 255}) {
        std::vector<uint8_t> plane = test::RandomPlane<uint8_t>(w * h);
        std::vector<uint8_t> marked(plane);
        for (uint8_t& v : marked) v = v >= threshold;
        const std::vector<uint8_t> expected = test::SlowMorphology(marked, w, h, 3, true);
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
