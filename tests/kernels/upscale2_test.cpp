#include "kernels/upscale2.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

/// One output sample by its nearest source sample and the neighbours towards which it lies.
int Slow(const Bytes& s, int rows, int w, int x, int y) {
  const auto at = [&](int column, int row) {
    return static_cast<int>(s[static_cast<size_t>(row * w + column)]);
  };
  const int c = x / 2, r = y / 2, c2 = x % 2 != 0 ? c + 1 : c - 1, r2 = y % 2 != 0 ? r + 1 : r - 1;
  const bool side = c2 < 0 || c2 >= w, end = r2 < 0 || r2 >= rows;
  if (side && end) return at(c, r);
  if (end) return (3 * at(c, r) + at(c2, r) + 2) >> 2;
  if (side) return (3 * at(c, r) + at(c, r2) + 2) >> 2;
  return (9 * at(c, r) + 3 * at(c2, r) + 3 * at(c, r2) + at(c2, r2) + 8) >> 4;
}

TEST(Upscale2, MeetsTheSlowFormAtAnySize) {
  for (const auto& [w, rows] : {std::pair{1, 1}, {1, 4}, {5, 1}, {2, 2}, {17, 6}, {64, 48}, {67, 9}}) {
    Bytes source = test::RandomPlane<uint8_t>(int64_t{w} * rows);
    for (size_t i = 0; i < source.size(); i += 5) source[i] = i % 2 == 0 ? 0 : 255;
    const int pitch = 2 * w + 3;
    Bytes out(static_cast<size_t>(pitch * (2 * rows - 1) + 2 * w), 7);
    Upscale2(source.data(), rows, w, out.data(), pitch, UpscaleEdges::kBoth);
    for (int y = 0; y < 2 * rows; ++y) {
      for (int x = 0; x < 2 * w; ++x) {
        ASSERT_EQ(out[static_cast<size_t>(y * pitch + x)], Slow(source, rows, w, x, y)) << w << "x" << rows;
      }
      if (y < 2 * rows - 1) {
        ASSERT_EQ(out[static_cast<size_t>(y * pitch + 2 * w)], 7);
      }
    }
  }
}

TEST(Upscale2, StripesGiveTheWholeImageAndReadOneRowBeyond) {
  const int w = 20, rows = 12;
  const Bytes source = test::RandomPlane<uint8_t>(w * rows);
  Bytes whole(4 * w * rows), striped(4 * w * rows), ranges(4 * w * rows);
  Upscale2(source.data(), rows, w, whole.data(), 2 * w, UpscaleEdges::kBoth);
  // Each stripe sees a copy of just the rows that it may read.
  const auto stripe = [&](int first, int count, int above, int below, UpscaleEdges edges) {
    const Bytes part(source.begin() + (first - above) * w, source.begin() + (first + count + below) * w);
    Upscale2(part.data() + above * w, count, w, striped.data() + 4 * first * w, 2 * w, edges);
  };
  stripe(0, 3, 0, 1, UpscaleEdges::kFirst);
  stripe(3, 1, 1, 1, UpscaleEdges::kNone);
  stripe(4, 5, 1, 1, UpscaleEdges::kNone);
  stripe(9, 3, 1, 0, UpscaleEdges::kLast);
  EXPECT_EQ(striped, whole);
  for (const auto& [first, last] : {std::pair{0, 2}, {2, 7}, {7, 11}, {11, 12}}) {
    Upscale2Rows(source.data(), rows, w, ranges.data(), 2 * w, first, last);
  }
  EXPECT_EQ(ranges, whole);
}

}  // namespace
}  // namespace zolt
