#include "kernels/lifting53.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "kernels/lifting_rows.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

using Samples = std::vector<int16_t>;

// One line by the definition, index by index.
std::pair<Samples, Samples> SlowForward(const Samples& x) {
  const int n = static_cast<int>(x.size() / 2);
  Samples s(n), d(n);
  for (int i = 0; i < n; ++i) {
    const int next = i + 1 < n ? x[2 * i + 2] : x[2 * i];
    d[i] = static_cast<int16_t>(x[2 * i + 1] - ((x[2 * i] + next) >> 1));
    const int update = i == 0 ? d[0] >> 1 : static_cast<int16_t>(d[i - 1] + d[i]) >> 2;
    s[i] = static_cast<int16_t>(x[2 * i] + update);
  }
  return {s, d};
}

// Grey values, all 16-bit values, and the two extremes by turns.
std::vector<Samples> Lines(int count) {
  std::vector<Samples> lines = {test::RandomPlane<int16_t>(count, 256),
                                test::RandomPlane<int16_t>(count, 65536, -32768), Samples(count)};
  for (int i = 0; i < count; ++i) lines[2][i] = (i / 3) % 2 == 0 ? 32767 : -32768;
  return lines;
}

TEST(Lifting53, RowsFollowTheDefinitionAndComeBack) {
  for (const int n : {1, 2, 3, 7, 8, 9, 33, 130}) {
    for (const Samples& x : Lines(2 * n)) {
      Samples s(n), d(n), again(2 * n);
      LiftRowForward(x.data(), s.data(), d.data(), n);
      EXPECT_EQ(std::pair(s, d), SlowForward(x)) << n;
      LiftRowInverse(s.data(), d.data(), again.data(), n);
      EXPECT_EQ(again, x) << n;
    }
  }
}

// Any range of pairs, of 8 and of 16 bits: what lies around it is read, nothing else is given.
template <typename Sample>
void ExpectRowsAsColumns(const std::vector<Sample>& plane, int w, int h) {
  const Samples x(plane.begin(), plane.end());
  Samples low(x.size() / 2), high(x.size() / 2), memory(kInverseRows * w);
  LiftColumnsForward(x.data(), w, low.data(), high.data(), w, w, {0, h / 2, h / 2});
  for (int first = 0; first < h / 2; ++first) {
    for (int last = first + 1; last <= h / 2; ++last) {
      const PairRange pairs = {first, last, h / 2};
      LiftPairsForward(
          plane.data(), w, w, pairs, memory.data(), [&](int i, const int16_t* s, const int16_t* d) {
            EXPECT_TRUE(std::equal(s, s + w, &low[i * w]) && std::equal(d, d + w, &high[i * w])) << i;
          });
      const auto read = [w](const Samples& band) {
        return [&band, w](int i, int16_t* out) { std::copy_n(&band.at(i * w), w, out); };
      };
      int rows = 0;
      LiftPairsInverse(w, pairs, memory.data(), read(low), read(high), [&](int y, const int16_t* row) {
        EXPECT_EQ(y, 2 * first + rows++);
        EXPECT_TRUE(std::equal(row, row + w, &x[y * w])) << y;
      });
      EXPECT_EQ(rows, 2 * (last - first));
    }
  }
}

TEST(Lifting53, RowPairsEqualWholeColumns) {
  for (const int h : {2, 4, 10}) {
    ExpectRowsAsColumns(test::RandomPlane<uint8_t>(21 * h), 21, h);
    ExpectRowsAsColumns(test::RandomPlane<int16_t>(21 * h, 65536, -32768), 21, h);
  }
}

TEST(Lifting53, NarrowingSaturates) {
  const Samples values = {-32768, -1, 0, 1, 254, 255, 256, 965, 32767};
  std::vector<uint8_t> bytes(values.size());
  Narrow16To8(values.data(), bytes.data(), 9);
  EXPECT_EQ(bytes, (std::vector<uint8_t>{0, 0, 0, 1, 254, 255, 255, 255, 255}));
}

}  // namespace
}  // namespace zolt
