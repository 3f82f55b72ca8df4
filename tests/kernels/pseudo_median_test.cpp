#include "kernels/pseudo_median.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/slow_planes.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(PseudoMedian, WidenedApartAndInPlaceGiveTheSlowForm) {
  for (const auto& [w, h] : {std::pair{1, 1}, {2, 2}, {3, 3}, {4, 1}, {18, 5}, {64, 9}, {67, 8}}) {
    const int pitch = w + 2;
    std::vector<uint8_t> in = test::RandomPlane<uint8_t>(pitch * h);
    test::Plane packed(w, h);
    for (int i = 0; i < w * h; ++i) packed.v[i] = in[i / w * pitch + i % w];
    const std::vector<int> slow = test::PseudoMedian(packed).v;
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
