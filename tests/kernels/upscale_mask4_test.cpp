#include "kernels/upscale_mask4.h"

#include <gtest/gtest.h>

#include "support/slow_planes.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(UpscaleMask4, EqualsItsDefinitionWithTheRim) {
  for (const auto& [rows, columns] : {std::pair{1, 1}, {1, 9}, {8, 1}, {2, 2}, {8, 8}, {5, 33}, {17, 70}}) {
    const std::vector<uint8_t> mask = test::RandomPlane<uint8_t>(rows * columns);
    const std::vector<int> slow = test::UpscaleMask(test::Plane(mask.data(), columns, rows)).v;
    const std::vector<uint8_t> expected(slow.begin(), slow.end());
    std::vector<uint8_t> map(expected.size(), 0xEE);
    UpscaleMask4(mask.data(), rows, columns, map.data());
    ASSERT_EQ(map, expected) << rows << "x" << columns;
    // Any range of rows is the same range of the whole.
    for (int first = 0; first < 4 * rows; ++first) {
      const int count = std::min(3, 4 * rows - first);
      std::vector<uint8_t> part(4 * columns * count, 0xEE);
      UpscaleMask4Rows(mask.data(), rows, columns, first, count, part.data());
      ASSERT_TRUE(std::equal(part.begin(), part.end(), expected.begin() + 4 * columns * first)) << first;
    }
  }
}

}  // namespace
}  // namespace zolt
