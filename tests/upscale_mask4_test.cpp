#include "kernels/upscale_mask4.h"

#include <gtest/gtest.h>

#include "support/test_planes.h"

namespace zolt {
namespace {

/// The map pixel by pixel: four weighted samples inside; on the rim columns first, then rows over them.
std::vector<uint8_t> SlowUpscale(const std::vector<uint8_t>& m, int rows, int columns) {
  const int w = 4 * columns, h = 4 * rows;
  std::vector<uint8_t> out(static_cast<size_t>(w) * h, 0x33);
  const auto at = [&](int k, int j) {
    return int{m[std::min(k, rows - 1) * columns + std::min(j, columns - 1)]};
  };
  for (int y = 2; y < h - 2; ++y) {
    for (int x = 2; x < w - 2; ++x) {
      const int k = (y - 2) / 4, j = (x - 2) / 4, wy = 7 - 2 * ((y - 2) % 4), wx = 7 - 2 * ((x - 2) % 4);
      const int sum = wy * wx * at(k, j) + wy * (8 - wx) * at(k, j + 1) + (8 - wy) * wx * at(k + 1, j) +
                      (8 - wy) * (8 - wx) * at(k + 1, j + 1);
      out[y * w + x] = static_cast<uint8_t>((sum + 32) >> 6);
    }
  }
  for (const int x : {0, 1, w - 2, w - 1}) {
    for (int y = 0; y < h; ++y) {
      const int j = x < 2 ? 0 : columns - 1;
      out[y * w + x] =
          static_cast<uint8_t>(((4 - y % 4) / 4.0 * at(y / 4, j)) + y % 4 / 4.0 * at(y / 4 + 1, j));
    }
  }
  for (const int y : {0, 1, h - 2, h - 1}) {
    for (int x = 0; x < w; ++x) {
      const int k = y < 2 ? 0 : rows - 1;
      out[y * w + x] =
          static_cast<uint8_t>(((4 - x % 4) / 4.0 * at(k, x / 4)) + x % 4 / 4.0 * at(k, x / 4 + 1));
    }
  }
  return out;
}

TEST(UpscaleMask4, EqualsItsDefinitionWithTheRim) {
  for (const auto& [rows, columns] : {std::pair{1, 1}, {1, 9}, {8, 1}, {2, 2}, {8, 8}, {5, 33}, {17, 70}}) {
    const std::vector<uint8_t> mask = test::RandomPlane<uint8_t>(rows * columns);
    const std::vector<uint8_t> expected = SlowUpscale(mask, rows, columns);
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

TEST(UpscaleMask4, FlatMasksStayFlat) {
  for (const int value : {0, 1, 254, 255}) {
    const std::vector<uint8_t> mask(9 * 20, value);
    std::vector<uint8_t> map(16 * mask.size(), 0x77);
    UpscaleMask4(mask.data(), 9, 20, map.data());
    EXPECT_EQ(map, std::vector<uint8_t>(map.size(), value));
  }
}

}  // namespace
}  // namespace zolt
