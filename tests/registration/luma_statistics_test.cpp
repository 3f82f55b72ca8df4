#include "registration/luma_statistics.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(MeasureLuma, SamplesEveryFifthPixel) {
  constexpr int kWidth = 100, kHeight = 50;  // 20 x 10 samples, the brightest tenth of a share is 10
  std::vector<uint8_t> pixels(kWidth * kHeight, 255);
  int n = 0;
  for (int y = 0; y < kHeight; y += 5) {
    for (int x = 0; x < kWidth; x += 5, ++n) {
      pixels[static_cast<size_t>(y) * kWidth + x] = static_cast<uint8_t>(n < 7     ? 250
                                                                         : n < 11  ? 200
                                                                         : n < 100 ? 90
                                                                         : n < 111 ? 30 + n % 3
                                                                                   : 70);
    }
  }
  uint32_t histogram[kLumaLevels];
  uint8_t peak = 0, bright = 0;
  MeasureLuma({pixels.data(), kWidth, kHeight}, histogram, &peak, &bright);
  EXPECT_EQ(peak, 70) << "89 samples each of 70 and 90: the lower one";
  EXPECT_EQ(bright, (7 * 250 + 4 * 200) / 12) << "the eleventh sample exceeds the limit of ten";

  bright = 17;
  MeasureLuma({pixels.data(), kWidth, 0}, histogram, &peak, &bright);
  EXPECT_EQ(bright, 17) << "an empty sample leaves it";
}

TEST(MatchHistogram, BringsBackARemappedImageButForTheLastPartialGroup) {
  constexpr int kWidth = 65, kHeight = 66;  // two pixels beyond the last group of four
  const auto reference = test::RandomPlane<uint8_t>(kWidth * kHeight, 100, 40);
  auto pixels = reference;
  for (uint8_t& v : pixels) v = static_cast<uint8_t>(2 * v - 60);
  const auto remapped = pixels;
  uint32_t cumulative[kLumaLevels];
  CumulateHistogram({reference.data(), kWidth, kHeight}, cumulative);
  EXPECT_EQ(cumulative[39], 0u);
  EXPECT_EQ(cumulative[255], uint32_t{kWidth * kHeight});
  MatchHistogram(pixels.data(), kWidth, kHeight, cumulative);
  const size_t groups = kWidth * kHeight / 4 * 4;
  EXPECT_TRUE(std::equal(pixels.begin(), pixels.begin() + groups, reference.begin()));
  EXPECT_TRUE(std::equal(pixels.begin() + groups, pixels.end(), remapped.begin() + groups));
}

}  // namespace
}  // namespace zolt
