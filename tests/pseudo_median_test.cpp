#include "kernels/pseudo_median.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

int SortedMedian(std::vector<int> v) {
  std::sort(v.begin(), v.end());
  return v[1];
}

std::vector<int> SlowMedian(const std::vector<uint8_t>& in, int pitch, int w, int h) {
  std::vector<int> out;
  for (int r = 0; r < h; ++r) {
    for (int x = 0; x < w; ++x) {
      if (r == 0 || r == h - 1 || x == 0 || x == w - 1) {
        out.push_back(in[r * pitch + x]);
        continue;
      }
      std::vector<int> rows;
      for (int k = r - 1; k <= r + 1; ++k) {
        const uint8_t* p = &in[k * pitch + x];
        rows.push_back(SortedMedian({p[-1], p[0], p[1]}));
      }
      out.push_back(SortedMedian(rows));
    }
  }
  return out;
}

TEST(PseudoMedian, WidenedApartAndInPlaceGiveTheSlowForm) {
  for (const auto& [w, h] : {std::pair{1, 1}, {2, 2}, {3, 3}, {4, 1}, {18, 5}, {64, 9}, {67, 8}}) {
    const int pitch = w + 2;
    std::vector<uint8_t> in = test::RandomPlane<uint8_t>(pitch * h);
    const std::vector<int> slow = SlowMedian(in, pitch, w, h);
    std::vector<uint8_t> scratch(3 * w), narrow(w * h);
    std::vector<int16_t> wide(w * h);
    PseudoMedian3x3(in.data(), pitch, wide.data(), w, w, h, scratch.data());
    PseudoMedian3x3(in.data(), pitch, narrow.data(), w, w, h, scratch.data());
    EXPECT_TRUE(std::equal(slow.begin(), slow.end(), wide.begin())) << w << "x" << h;
    EXPECT_TRUE(std::equal(slow.begin(), slow.end(), narrow.begin())) << w << "x" << h;
    const std::vector<uint8_t> before = in;
    PseudoMedian3x3(in.data(), pitch, in.data(), pitch, w, h, scratch.data());
    for (int i = 0; i < pitch * h; ++i) {
      const int expected = i % pitch < w ? slow[i / pitch * w + i % pitch] : before[i];
      ASSERT_EQ(in[i], expected) << w << "x" << h << " at " << i;
    }
  }
}

}  // namespace
}  // namespace zolt
