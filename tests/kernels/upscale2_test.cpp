#include "kernels/upscale2.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

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
    Upscale2Rows(source.data(), rows, w, ranges.data() + 4 * first * w, 2 * w, first, last);
  }
  EXPECT_EQ(ranges, whole);
}

}  // namespace
}  // namespace zolt
