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

// By the definition, with the frame of zeros and the columns that no whole block reaches.
TEST(EdgeMapSobel, FollowsTheDefinitionAtEveryRemainderOfEight) {
  for (const int w : {8, 9, 10, 11, 15, 16, 34, 38}) {
    const int h = 6, pitch = w + 3;
    const Samples band = test::RandomPlane<int16_t>(pitch * h, 90, 60);
    std::vector<uint8_t> maps(3 * w * h, 99);
    EdgeMapSobel(band.data(), {&maps[0], &maps[w * h], &maps[2 * w * h]}, w, h, pitch, 20);
    for (int i = 0; i < w * h; ++i) {
      const int r = i / w, x = i % w;
      int gx = 0, gy = 0;
      if (r > 0 && r < h - 1 && x > 0 && x < w - 1 && x <= w / 8 * 8) {
        const int16_t* p = &band[r * pitch + x];
        for (int k = -1; k <= 1; ++k) {
          const int weight = k == 0 ? 2 : 1;
          gx += weight * (p[k * pitch - 1] - p[k * pitch + 1]);
          gy += weight * (p[-pitch + k] - p[pitch + k]);
        }
        gx = std::min(std::abs(gx), 255), gy = std::min(std::abs(gy), 255);
        gx = gx < 20 ? 0 : gx, gy = gy < 20 ? 0 : gy;
      }
      ASSERT_EQ(maps[i], gx) << w << ": " << r << ", " << x;
      ASSERT_EQ(maps[w * h + i], gy) << w << ": " << r << ", " << x;
      ASSERT_EQ(maps[2 * w * h + i], (gx + gy + 1) >> 1) << w << ": " << r << ", " << x;
    }
  }
}

int Shrunk(const CoringTable& table, int c, int m) {
  if (m >= 50) return c;
  const int t = c >= -512 && c <= 511 ? table.entries[512 + c] : c;
  const int a = std::min(m * 20, 614);
  return (t * (1024 - a) + c * a + 512) >> 10;
}

// All coefficients that can come, those outside the table and 16-bit extremes, under all kinds of edges;
// widths with a remainder core their overlapped columns twice.
TEST(ShrinkBand, FollowsTheDefinitionAndAppliesTwiceOnTheOverlap) {
  CoringTable table;
  BuildCoringLut(&table, 96);
  for (const auto& [bound, offset] : {std::pair{1932u, -966}, {65536u, -32768}, {40u, -20}}) {
    for (const int w : {8, 10, 13, 16, 300}) {
      const int h = 40, pitch = w + 5;
      Samples band = test::RandomPlane<int16_t>(pitch * h, bound, static_cast<int16_t>(offset));
      band[3] = -512;
      const std::vector<uint8_t> map = test::RandomPlane<uint8_t>(w * h, 64);
      Samples expected = band;
      for (int i = 0; i < w * h; ++i) {
        int16_t& c = expected[i / w * pitch + i % w];
        c = static_cast<int16_t>(Shrunk(table, c, map[i]));
        const bool overlapped = w % 8 != 0 && i % w >= w - 8 && i % w < w / 8 * 8;
        if (overlapped) c = static_cast<int16_t>(Shrunk(table, c, map[i]));
      }
      ShrinkBand(band.data(), pitch, map.data(), w, w, h, table, 50, 614);
      ASSERT_EQ(band, expected) << w;
    }
  }
}

}  // namespace
}  // namespace zolt
