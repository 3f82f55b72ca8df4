#include "kernels/recursive_filter.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Samples = std::vector<int16_t>;

TEST(RecursiveFilter, StrengthZeroAndHugeStrengthsLeaveThePlane) {
  const Samples in = test::RandomPlane<int16_t>(50 * 20, 2200, -700);
  std::vector<int32_t> state(50);
  for (const int p : {0, 511, 512, 2147483647}) {
    RecursiveTables t;
    BuildRecursiveLut(&t, p, 8000);
    Samples plane = in;
    RecursiveForward(state.data(), t.tableStep, t.tableStep, t.tableBack, plane.data(), 50, plane.data(), 50,
                     50, 20);
    RecursiveBackward(state.data(), t.tableStep, t.tableStep, t.tableBack, plane.data(), 50, plane.data(), 50,
                      50, 20);
    EXPECT_EQ(plane, in) << p;
  }
  RecursiveTables strongest;
  BuildRecursiveLut(&strongest, 510, 8000);
  EXPECT_LT(strongest.tableStep[0], 0);
}

}  // namespace
}  // namespace zolt
