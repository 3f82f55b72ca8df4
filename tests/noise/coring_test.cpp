#include "noise/coring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Samples = std::vector<int16_t>;

TEST(BuildCoringLut, StrengthZeroIsTheIdentityButForTheLowestEntry) {
  CoringTable table;
  BuildCoringLut(&table, 0);
  EXPECT_EQ(table.entries[0], 0);
  for (int d = -511; d < 512; ++d) ASSERT_EQ(table.entries[512 + d], d);
}

// At |d| = p a quarter is lost; 511 loses nothing, small ones nearly all; rows of p = 64 by hand from
// E = ln(1/4) / ln(1 - 64/511 - 0.00001) = 10.356.
TEST(BuildCoringLut, LossFadesWithTheCoefficient) {
  CoringTable table;
  for (const int p : {1, 30, 64, 128}) {
    BuildCoringLut(&table, p);
    const int16_t* t = table.entries + 512;
    EXPECT_EQ(t[0], 0);
    EXPECT_EQ(t[511], 511);
    EXPECT_NEAR(t[p], 0.75 * p, 1.0) << p;
    for (int d = 1; d < 512; ++d) {
      ASSERT_EQ(t[d], -t[-d]) << p;
      ASSERT_GE(t[d], t[d - 1]) << p;
    }
  }
  BuildCoringLut(&table, 64);
  for (const int d : {4, 16, 100, 300}) {
    EXPECT_EQ(table.entries[512 + d], d - static_cast<int>(0.49 + d * std::pow(1 - d / 511.0, 10.35622)));
  }
}

}  // namespace
}  // namespace zolt
