#include "kernels/recursive_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Samples = std::vector<int16_t>;

// The causal pass pixel by pixel, in the order of its definition: first row, first column, the rest.
Samples SlowForward(const RecursiveTables& t, const Samples& in, int w, int h) {
  const auto look = [](const int16_t* table, int d) { return table[std::clamp((d + 3856) >> 5, 0, 240)]; };
  const auto grey = [&](int back, int y) { return static_cast<int16_t>((look(t.back, back) + y + 63) >> 7); };
  Samples out = in;
  std::vector<int> state(w);
  for (int r = 0; r < h; ++r) {
    int chain = in[r * w] * 128;
    for (int x = 0; x < w; ++x) {
      const int c = in[r * w + x] * 128;
      if (r == 0 && x == 0) {
        state[0] = c;
      } else if (r == 0) {
        const int s = look(t.step, state[x - 1] - c);
        state[x] = c + s;
        out[x] = grey(-s, state[x]);
      } else if (x == 0) {
        const int s = look(t.step, state[0] - c);
        state[0] = c + s;
        out[r * w] = grey(-s, state[0]);
      } else {
        chain = c + look(t.step, chain - c);
        state[x] = chain + look(t.step, state[x] - chain);
        out[r * w + x] = grey(c - state[x], state[x]);
      }
    }
  }
  return out;
}

// The anticausal pass is the causal one on the image turned by 180 degrees.
Samples SlowBackward(const RecursiveTables& t, Samples in, int w, int h) {
  std::reverse(in.begin(), in.end());
  Samples out = SlowForward(t, in, w, h);
  std::reverse(out.begin(), out.end());
  return out;
}

TEST(RecursiveFilter, BothPassesFollowTheDefinitionAtEverySize) {
  for (const int p : {1, 20, 100, 400}) {
    RecursiveTables t;
    BuildRecursiveLut(&t, p, 5006);
    for (const auto& [w, h] :
         {std::pair{1, 1}, {1, 6}, {9, 1}, {2, 2}, {33, 3}, {64, 5}, {65, 6}, {150, 12}}) {
      for (const auto& [bound, offset] : {std::pair{256u, 0}, {30u, 100}, {2200u, -700}}) {
        const Samples in = test::RandomPlane<int16_t>(w * h, bound, static_cast<int16_t>(offset));
        const Samples forward = SlowForward(t, in, w, h), both = SlowBackward(t, forward, w, h);
        std::vector<int32_t> state(w);
        Samples in_place = in;
        RecursiveForward(state.data(), t.step, t.step, t.back, in_place.data(), w, in_place.data(), w, w, h);
        ASSERT_EQ(in_place, forward) << p << ": " << w << "x" << h;
        RecursiveBackward(state.data(), t.step, t.step, t.back, in_place.data(), w, in_place.data(), w, w, h);
        ASSERT_EQ(in_place, both) << p << ": " << w << "x" << h;
        // Apart, at a wider pitch: the same, but for the one pixel that a pass doesn't write.
        Samples apart((w + 3) * h, 7777);
        RecursiveForward(state.data(), t.step, t.step, t.back, in.data(), w, apart.data(), w + 3, w, h);
        EXPECT_EQ(apart[0], 7777);
        for (int i = 1; i < w * h; ++i) ASSERT_EQ(apart[i / w * (w + 3) + i % w], forward[i]);
      }
    }
  }
}

TEST(RecursiveFilter, StrengthZeroAndHugeStrengthsLeaveThePlane) {
  const Samples in = test::RandomPlane<int16_t>(50 * 20, 2200, -700);
  std::vector<int32_t> state(50);
  for (const int p : {0, 511, 512, 2147483647}) {
    RecursiveTables t;
    BuildRecursiveLut(&t, p, 8000);
    Samples plane = in;
    RecursiveForward(state.data(), t.step, t.step, t.back, plane.data(), 50, plane.data(), 50, 50, 20);
    RecursiveBackward(state.data(), t.step, t.step, t.back, plane.data(), 50, plane.data(), 50, 50, 20);
    EXPECT_EQ(plane, in) << p;
  }
}

// At a distance of p grey levels three quarters of the pull are gone; 20 levels are entry 120 + 80.
TEST(RecursiveFilter, TablesAreOddAndAQuarterRemainsAtTheStrength) {
  RecursiveTables t;
  BuildRecursiveLut(&t, 20, 5000);
  EXPECT_NEAR(t.step[200], 20 * 128 / 4, 1);
  EXPECT_NEAR(t.back[200], t.step[200] * 5000 / 8192, 1);
  EXPECT_EQ(t.step[120], 0);
  for (int i = 0; i <= 120; ++i) {
    ASSERT_EQ(t.step[120 + i], -t.step[120 - i]);
    ASSERT_EQ(t.back[120 + i], -t.back[120 - i]);
  }
}

}  // namespace
}  // namespace zolt
