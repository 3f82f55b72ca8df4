#include "registration/descriptors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/alloc_hooks.h"
#include "support/log_lines.h"
#include "support/started_pool.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

/// One descriptor pixel by pixel, in 64-bit integers up to the sums.
std::vector<int32_t> SlowDescriptor(const DetectionImage& image, const KeyPoint& k) {
  const int s = static_cast<int>(k.scale * 1.2 / 9.0 + 0.5), win = 21 * s;
  const int x0 = (k.x - (win - 1) * 128 + 128) >> 8, y0 = (k.y - (win - 1) * 128 + 128) >> 8;
  const auto pixel = [&](int row, int column) -> int64_t {
    const int r = std::clamp(y0 + row, 0, image.height - 1);
    const int c = std::clamp(std::clamp(x0, 0, image.width - 1) + column, 0, image.width - 1);
    return image.pixels[static_cast<size_t>(r) * image.width + c];
  };
  std::vector<int64_t> patch;
  for (int i = 0; i < 441; ++i) {
    int64_t sum = 0;
    for (int j = 0; j < s * s; ++j) sum += pixel(i / 21 * s + j / s, i % 21 * s + j % s);
    patch.push_back((sum * (65536 / (s * s)) + 32768) >> 16);
  }
  std::vector<int64_t> sums(64);
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 20; ++x) {
      const auto p = patch.begin() + 20 * y + x;  // row length 20 on purpose
      const int64_t dx = (p[1] + p[21] - p[0] - p[20]) * PatchWeight(y, x);
      const int64_t dy = (p[20] + p[21] - p[0] - p[1]) * PatchWeight(y, x);
      int64_t* cell = &sums[static_cast<size_t>(y / 5 * 4 + x / 5) * 4];
      cell[0] += dx;
      cell[1] += std::abs(dx);
      cell[2] += dy;
      cell[3] += std::abs(dy);
    }
  }
  float norm = 0.0f;
  for (const int64_t v : sums) {
    const float scaled = static_cast<float>(v) / 256.0f;
    norm += scaled * scaled;
  }
  const auto factor = static_cast<float>(1.0 / (std::sqrt(double{norm}) + 1.1920928955078125e-7));
  std::vector<int32_t> descriptor;
  for (const int64_t v : sums) {
    descriptor.push_back(static_cast<int32_t>(static_cast<float>(v) * factor * 32768.0f));
  }
  return descriptor;
}

TEST(Descriptors, WeightsAreAGaussianOfSum2To24) {
  double g[20], total = 0;
  for (int t = 0; t < 20; ++t) total += g[t] = std::exp(-(t - 9.5) * (t - 9.5) / (2 * 3.3 * 3.3));
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 20; ++x) {
      EXPECT_EQ(PatchWeight(y, x), std::lround(16777216.0 * (g[y] / total) * (g[x] / total)));
    }
  }
}

TEST(Descriptors, SamplingSizeRounds) {
  const std::pair<int, int> cases[] = {{3, 0}, {4, 1}, {11, 1}, {12, 2}, {18, 2}, {19, 3}, {26, 3}, {27, 4}};
  for (const auto& [scale, size] : cases) EXPECT_EQ(SamplingSize(scale), size) << scale;
}

TEST(Descriptors, EqualTheSlowFormInsideAndOnEveryBorder) {
  const test::StartedPool started;
  for (const auto& [w, h] : {std::pair{64, 72}, {200, 64}, {120, 140}}) {
    auto pixels = test::RandomPlane<uint8_t>(int64_t{w} * h, 2, 0);
    for (uint8_t& v : pixels) v = v != 0 ? 255 : 0;
    const DetectionImage image = {pixels.data(), w, h};
    std::vector<KeyPoint> keypoints;
    for (const int scale : {3, 9, 12, 19, 27, 40}) {  // windows of 0, 21, 42, 63, 84 and 105 pixels
      for (const int x : {11 * 256, 11 * 256 + 200, w * 128 + 77, (w - 12) * 256 + 31}) {
        for (const int y : {11 * 256 + 130, h * 128, (h - 12) * 256})
          keypoints.push_back({0, 0, x, y, 0, scale});
      }
    }
    const auto count = static_cast<int32_t>(keypoints.size());
    std::vector<int32_t> descriptors(keypoints.size() * 64, 99);
    ASSERT_EQ(DescribeKeypoints(image, {keypoints.data(), descriptors.data(), count}, DefaultHooks()), 0);
    for (size_t i = 0; i < keypoints.size(); ++i) {
      const std::vector<int32_t> found(descriptors.begin() + 64 * i, descriptors.begin() + 64 * (i + 1));
      const bool skipped = keypoints[i].scale == 3;
      EXPECT_EQ(found, skipped ? std::vector<int32_t>(64) : SlowDescriptor(image, keypoints[i]))
          << w << " " << i;
      double square = 0;
      for (const int32_t v : found) square += double(v) * v;
      EXPECT_NEAR(std::sqrt(square), skipped ? 0.0 : 8388608.0, 64.0);
    }
  }
}

TEST(Descriptors, FewKeypointsAndAFlatImage) {
  const test::StartedPool started;
  const std::vector<uint8_t> pixels(64 * 64, 200);
  for (int32_t count = 0; count <= 5; ++count) {
    std::vector<KeyPoint> keypoints(static_cast<size_t>(count), KeyPoint{0, 0, 32 * 256, 32 * 256, 0, 15});
    std::vector<int32_t> descriptors(static_cast<size_t>(count) * 64, 99);
    const FeatureList list = {keypoints.data(), descriptors.data(), count};
    EXPECT_EQ(DescribeKeypoints({pixels.data(), 64, 64}, list, DefaultHooks()), 0);
    for (const int32_t v : descriptors) EXPECT_EQ(v, 0);
  }
}

TEST(Descriptors, EachRefusedBlockIsReportedAndNothingIsKept) {
  const test::StartedPool started;
  const std::vector<uint8_t> pixels(64 * 64, 200);
  KeyPoint keypoints[2] = {{0, 0, 32 * 256, 32 * 256, 0, 9}, {0, 0, 32 * 256, 32 * 256, 0, 27}};
  int32_t descriptors[128];
  for (int k = 0; k < 4; ++k) {
    test::TestHooks::Reset();
    test::TestHooks::RefuseAllocation(k);
    test::TakeLogLines();
    EXPECT_EQ(
        DescribeKeypoints({pixels.data(), 64, 64}, {keypoints, descriptors, 2}, test::TestHooks::Hooks()),
        -1000);
    EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6,
                               "GenerateDiscriptor_Simple_neon_multi_inside: malloc failed!"));
    EXPECT_EQ(test::TestHooks::Outstanding(), 0);
    EXPECT_EQ(test::TestHooks::Calls()[0].size, 3200u + 441u + 84u * 84u);
    EXPECT_EQ(test::TestHooks::Calls()[0].pool, "surf_reg");
  }
}

}  // namespace
}  // namespace zolt
