#include "kernels/box_downscale.h"

#include <gtest/gtest.h>

#include "support/slow_planes.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(BoxDownscale, EqualTheirDefinitionAtEveryWidth) {
  for (int w = 4; w <= 200; w += 4) {
    std::vector<uint8_t> source = test::RandomPlane<uint8_t>(w * 12);
    std::fill_n(source.begin(), 2 * w, 255);  // sums at their highest
    std::vector<uint8_t> half(source.size() / 4), quarter(source.size() / 16);
    Box2Down(source.data(), w, half.data(), w, 12);
    Box4Down(source.data(), 12, w, quarter.data());
    const test::Plane plane(source.data(), w, 12), slow_half = test::Box2(plane), slow = test::Box4(plane);
    ASSERT_TRUE(std::equal(half.begin(), half.end(), slow_half.v.begin())) << w;
    ASSERT_TRUE(std::equal(quarter.begin(), quarter.end(), slow.v.begin())) << w;
  }
}

TEST(BoxDownscale, HalfReadsRowsAPitchApart) {
  // The last row ends with its pixels, as the last row of a cropped image does.
  const std::vector<uint8_t> source = test::RandomPlane<uint8_t>(3 * 50 + 34);
  std::vector<uint8_t> packed;
  for (int y = 0; y < 4; ++y)
    packed.insert(packed.end(), source.begin() + y * 50, source.begin() + y * 50 + 34);
  std::vector<uint8_t> out(17 * 2), expected(17 * 2);
  Box2Down(source.data(), 50, out.data(), 34, 4);
  Box2Down(packed.data(), 34, expected.data(), 34, 4);
  EXPECT_EQ(out, expected);
}

}  // namespace
}  // namespace zolt
