#include "kernels/atrous_smooth.h"

#include <gtest/gtest.h>

#include <vector>

namespace zolt {
namespace {

using Plane = std::vector<int16_t>;

TEST(AtrousSmooth, EndsRoundOtherwiseThanTheInside) {
  // Taps 0 and 1 about a 0: two rounding halves give 1 (sample 5), the sum of four gives 0 (sample 1).
  const Plane line = {0, 0, 0, 1, 0, 0, 0, 0}, end = {0, 1, 0};
  Plane out(8), temporary(8);
  AtrousSmooth(line.data(), 8, out.data(), 8, temporary.data(), 8, 8, 1, 2);
  EXPECT_EQ(out, (Plane{0, 0, 0, 1, 0, 1, 0, 0}));
  // The end sample itself: (p(0) + p(1) + 1) >> 1.
  out.resize(3);
  AtrousSmooth(end.data(), 3, out.data(), 3, temporary.data(), 3, 3, 1, 1);
  EXPECT_EQ(out, (Plane{1, 1, 1}));
}

TEST(AtrousSmooth, OtherHolesWriteNothing) {
  const Plane source(64, 5);
  for (const int hole : {-1, 0, 3, 32}) {
    Plane out(64, 9), temporary(64);
    AtrousSmooth(source.data(), 8, out.data(), 8, temporary.data(), 8, 8, 8, hole);
    EXPECT_EQ(out, Plane(64, 9));
  }
}

}  // namespace
}  // namespace zolt
