#include "registration/descriptors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/alloc_hooks.h"
#include "support/digest.h"
#include "support/started_pool.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

// Windows of 0 to 105 pixels, inside and across every border.
TEST(Descriptors, EveryWindowIsAUnitVectorAndTheSameOnEveryPlatform) {
  const test::StartedPool started;
  uint64_t digest = 0;
  for (const auto& [w, h] : {std::pair{64, 72}, {200, 64}, {120, 140}}) {
    auto pixels = test::RandomPlane<uint8_t>(int64_t{w} * h, 2, 0);
    for (uint8_t& v : pixels) v = v != 0 ? 255 : 0;
    std::vector<KeyPoint> keypoints;
    for (const int scale : {3, 4, 11, 12, 18, 19, 26, 27, 40}) {
      for (const int x : {11 * 256, 11 * 256 + 200, w * 128 + 77, (w - 12) * 256 + 31}) {
        for (const int y : {11 * 256 + 130, h * 128, (h - 12) * 256})
          keypoints.push_back({0, 0, x, y, 0, scale});
      }
    }
    const auto count = static_cast<int32_t>(keypoints.size());
    std::vector<int32_t> descriptors(keypoints.size() * 64, 99);
    ASSERT_EQ(DescribeKeypoints({pixels.data(), w, h}, {keypoints.data(), descriptors.data(), count},
                                DefaultHooks()),
              0);
    for (size_t i = 0; i < keypoints.size(); ++i) {
      double square = 0;
      for (size_t d = 0; d < 64; ++d) square += std::pow(descriptors[64 * i + d], 2);
      EXPECT_NEAR(std::sqrt(square), keypoints[i].scale == 3 ? 0.0 : 8388608.0, 64.0);
    }
    digest = digest * 3 + test::Digest(descriptors);
  }
  EXPECT_EQ(digest, 6585063678511342895u);
}

}  // namespace
}  // namespace zolt
