#include "noise/chroma_boost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "noise/chroma_boost_tables.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(ChromaBoostTables, GoThroughTheTunedPoints) {
  const int rows[9][5] = {{139, 141, 141, 141, 68}, {143, 154, 153, 154, 81}, {145, 166, 165, 166, 82},
                          {147, 179, 174, 179, 86}, {147, 192, 181, 192, 91}, {148, 205, 187, 205, 93},
                          {149, 217, 192, 218, 97}, {149, 229, 195, 230, 97}, {149, 239, 199, 243, 99}};
  for (int level = 0; level < 9; ++level) {
    const int16_t* table = kChromaBoostTables[level];
    EXPECT_EQ(table[64], rows[level][0]);
    EXPECT_EQ(table[96], rows[level][1]);
    EXPECT_EQ(table[112], rows[level][2]);
    const int16_t* peak = std::max_element(table, table + 256);
    EXPECT_EQ(*peak, rows[level][3]);
    EXPECT_EQ(peak - table, rows[level][4]);
    for (int i = 0; i < 256; ++i) {
      if (i < 49 || i > 206 || std::abs(i - 128) <= 1) {
        ASSERT_EQ(table[i], 128) << i;
      }
      ASSERT_GE(table[i], 128) << i;
      if (i > 0) {
        ASSERT_LE(std::abs(table[i] - table[256 - i]), 1) << i;
        ASSERT_LE(std::abs(table[i] - table[i - 1]), 6) << i;  // smooth
      }
    }
  }
}

/// Every pair of chroma values, as one plane of any width that divides it.
struct AllPairs {
  AllPairs() : u(65536), v(65536) {
    for (size_t i = 0; i < 65536; ++i) {
      u[i] = static_cast<uint8_t>(i);
      v[i] = static_cast<uint8_t>(i >> 8);
    }
  }
  Bytes u, v;
};

TEST(ChromaBoost, NeverReachesSaturationNorFoldsOver) {
  for (int level = 1; level <= 9; ++level) {
    AllPairs blocks, partial;
    ChromaBoost(blocks.u.data(), blocks.v.data(), 8, 8192, level);
    ChromaBoost(partial.u.data(), partial.v.data(), 1, 65536, level);
    ASSERT_EQ(blocks.u, partial.u);  // saturated or cut to the low byte: the same
    ASSERT_EQ(blocks.v, partial.v);
    for (int i = 1; i < 256; ++i) {  // v grey: a stronger colour stays at least as strong
      ASSERT_LE(blocks.u[static_cast<size_t>(128 * 256 + i - 1)],
                blocks.u[static_cast<size_t>(128 * 256 + i)])
          << level << " " << i;
    }
  }
}

TEST(ChromaBoost, BothPlanesGetTheGainOfTheFartherValue) {
  // Level 9: 243 at 99. -29 * 243 + 64 >> 7 = -55; 10 * 243 + 64 >> 7 = 19. Grey and strong colours stay.
  Bytes u = {99, 138, 128, 99, 0, 255, 40, 128, 99}, v = {138, 99, 128, 128, 255, 0, 128, 129, 138};
  ChromaBoost(u.data(), v.data(), 9, 1, 9);
  EXPECT_EQ(u, (Bytes{73, 147, 128, 73, 0, 255, 40, 128, 73}));
  EXPECT_EQ(v, (Bytes{147, 73, 128, 128, 255, 0, 128, 129, 147}));
}

TEST(ChromaBoost, OtherLevelsDoNothing) {
  for (const int32_t level : {-2147483647 - 1, -1, 0, 10, 2147483647}) {
    AllPairs planes;
    ChromaBoost(planes.u.data(), planes.v.data(), 256, 256, level);
    EXPECT_EQ(planes.u, AllPairs().u);
    EXPECT_EQ(planes.v, AllPairs().v);
  }
}

}  // namespace
}  // namespace zolt
