#include "kernels/atrous_smooth.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Plane = std::vector<int16_t>;

/// One line, literally: the samples laid out again and again in alternating directions.
Plane SlowLine(const Plane& p, int n) {
  const int size = static_cast<int>(p.size()), period = size > 1 ? 2 * (size - 1) : 1;
  const auto at = [&](int i) {
    const int phase = ((i % period) + period) % period;
    return static_cast<int>(p[static_cast<size_t>(phase < size ? phase : period - phase)]);
  };
  const auto average = [](int a, int b) { return (a + b + 1) >> 1; };
  Plane out(p.size());
  for (int x = 0; x < size; ++x) {
    const bool inside = x >= n && x + n < size;
    out[static_cast<size_t>(x)] = static_cast<int16_t>(inside ? average(average(at(x - n), at(x + n)), at(x))
                                                              : (at(x - n) + 2 * at(x) + at(x + n) + 2) >> 2);
  }
  return out;
}

Plane SlowSmooth(const Plane& source, int w, int h, int n) {
  Plane rows, out(source.size());
  for (int y = 0; y < h; ++y) {
    const Plane line = SlowLine(Plane(source.begin() + y * w, source.begin() + (y + 1) * w), n);
    rows.insert(rows.end(), line.begin(), line.end());
  }
  for (int x = 0; x < w; ++x) {
    Plane column;
    for (int y = 0; y < h; ++y) column.push_back(rows[static_cast<size_t>(y * w + x)]);
    column = SlowLine(column, n);
    for (int y = 0; y < h; ++y) out[static_cast<size_t>(y * w + x)] = column[static_cast<size_t>(y)];
  }
  return out;
}

TEST(AtrousSmooth, MeetsTheSlowFormAtAnySizeAndStaysInItsPlanes) {
  for (const auto& [w, h] :
       {std::pair{1, 1}, {2, 3}, {3, 20}, {16, 17}, {17, 16}, {31, 5}, {32, 33}, {33, 32}, {70, 48}}) {
    const Plane source = test::RandomPlane<int16_t>(int64_t{w} * h, 65536, -32768);
    for (const int hole : {1, 2, 4, 8, 16}) {
      const Plane expected = SlowSmooth(source, w, h, hole);
      Plane temporary(static_cast<size_t>((w + 1) * (h - 1) + w));
      Plane out(static_cast<size_t>((w + 2) * (h - 1) + w), 4321);
      AtrousSmooth(source.data(), w, out.data(), w + 2, temporary.data(), w + 1, w, h, hole);
      for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
          ASSERT_EQ(out[static_cast<size_t>(y * (w + 2) + x)], expected[static_cast<size_t>(y * w + x)])
              << w << "x" << h << " hole " << hole << " at " << x << ", " << y;
        }
        if (y < h - 1) {
          ASSERT_EQ(out[static_cast<size_t>(y * (w + 2) + w)], 4321);
        }
      }
      Plane in_place = source, rows(source.size());
      AtrousSmooth(in_place.data(), w, in_place.data(), w, rows.data(), w, w, h, hole);
      ASSERT_EQ(in_place, expected);
    }
  }
}

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
