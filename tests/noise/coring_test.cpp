#include "noise/coring.h"

#include <gtest/gtest.h>

#include <vector>

namespace zolt {
namespace {

// Hard checks of black and white give coefficients up to 965.
TEST(ShrinkBand, CoefficientsBeyondTheTableAndOnStrongEdgesStay) {
  CoringTable table;
  BuildCoringLut(&table, 128);
  const std::vector<int16_t> before = {-965, -513, -512, -300, 300, 511, 512, 965};
  std::vector<int16_t> flat = before, edge = before;
  ShrinkBand(flat.data(), 8, std::vector<uint8_t>(8, 0).data(), 8, 8, 1, table, 50, 614);
  ShrinkBand(edge.data(), 8, std::vector<uint8_t>(8, 50).data(), 8, 8, 1, table, 50, 614);
  EXPECT_EQ(edge, before);
  const int16_t* cored = table.entries + 512;
  EXPECT_EQ(flat, (std::vector<int16_t>{-965, -513, 0, cored[-300], cored[300], 511, 512, 965}));
  EXPECT_LT(cored[300], 300);
}

}  // namespace
}  // namespace zolt
