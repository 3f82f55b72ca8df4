#include "kernels/box_downscale.h"

#include <gtest/gtest.h>

#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(BoxDownscale, RoundingOfBothForms) {
  // Halves of halves round up twice: (0 + 1) -> 1, (0 + 0) -> 0, (1 + 0) -> 1, though the mean is 1/4.
  const uint8_t pair[4] = {0, 1, 0, 0};
  uint8_t out = 0;
  Box2Down(pair, 2, &out, 2, 2);
  EXPECT_EQ(out, 1);
  // The mean of sixteen rounds once: 7 of 16 down, 8 of 16 up.
  uint8_t block[16] = {7};
  Box4Down(block, 4, 4, &out);
  EXPECT_EQ(out, 0);
  block[15] = 1;
  Box4Down(block, 4, 4, &out);
  EXPECT_EQ(out, 1);
}

TEST(BoxDownscale, EqualTheirDefinitionAtEveryWidth) {
  for (int w = 4; w <= 200; w += 4) {
    const int h = 12;
    std::vector<uint8_t> source = test::RandomPlane<uint8_t>(w * h);
    std::fill_n(source.begin(), w, 255);  // sums at their highest
    std::fill_n(source.begin() + w, w, 255);
    std::vector<uint8_t> half(source.size() / 4), quarter(source.size() / 16);
    Box2Down(source.data(), w, half.data(), w, h);
    Box4Down(source.data(), h, w, quarter.data());
    for (int i = 0; i < w / 2 * (h / 2); ++i) {
      const uint8_t* p = &source[i / (w / 2) * 2 * w + i % (w / 2) * 2];
      const int upper = (p[0] + p[1] + 1) / 2, lower = (p[w] + p[w + 1] + 1) / 2;
      ASSERT_EQ(half[i], (upper + lower + 1) / 2) << w;
    }
    for (int i = 0; i < w / 4 * (h / 4); ++i) {
      const uint8_t* p = &source[i / (w / 4) * 4 * w + i % (w / 4) * 4];
      int sum = 8;
      for (int k = 0; k < 16; ++k) sum += p[k / 4 * w + k % 4];
      ASSERT_EQ(quarter[i], sum / 16) << w;
    }
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
