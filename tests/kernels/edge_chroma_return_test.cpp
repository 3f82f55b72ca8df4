#include "kernels/edge_chroma_return.h"

#include <gtest/gtest.h>

#include <vector>

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(EdgeChromaReturn, MixesUnderTheMaskAndTwiceInTheOverlap) {
  const int w = 11;  // a block over columns 0..7 and one over 3..10
  Bytes mask(22, 255);
  mask[0] = mask[5] = 0;
  mask[1] = 0x0F;  // selects bits
  Bytes uo(22, 200), vo(22, 0);
  const Bytes ul(22, 100), vl(22, 255);
  EdgeChromaReturn(ul.data(), vl.data(), uo.data(), vo.data(), mask.data(), w, 2, 128);
  // U: (200 * 128 + 100 * 127 + 128) >> 8 = 150, then 125; V: 127, then 190.
  const Bytes u_row = {200, (200 & 0xF0) | (150 & 0x0F), 150, 125, 125, 200, 125, 125, 150, 150, 150};
  EXPECT_EQ(Bytes(uo.begin(), uo.begin() + w), u_row);
  EXPECT_EQ(Bytes(uo.begin() + w, uo.end()), (Bytes{150, 150, 150, 125, 125, 125, 125, 125, 150, 150, 150}));
  EXPECT_EQ(vo[2], 127);
  EXPECT_EQ(vo[4], 190);
  EXPECT_EQ(vo[5], 0);
}

}  // namespace
}  // namespace zolt
