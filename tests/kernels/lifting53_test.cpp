#include "kernels/lifting53.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

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

TEST(Lifting53, NarrowingSaturatesAndWideningDoesNot) {
  const Samples values = {-32768, -1, 0, 1, 254, 255, 256, 965, 32767};
  std::vector<uint8_t> bytes(values.size());
  Narrow16To8(values.data(), bytes.data(), 9);
  EXPECT_EQ(bytes, (std::vector<uint8_t>{0, 0, 0, 1, 254, 255, 255, 255, 255}));
  Samples wide(9);
  Widen8To16(bytes.data(), wide.data(), 9);
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), wide.begin()));
}

}  // namespace
}  // namespace zolt
