#include "registration/response_layer.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/digest.h"
#include "support/started_pool.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

/// Digest of all four layers' responses, of what stays unwritten too.
uint64_t Responses(const std::vector<uint8_t>& pixels, int w, int h) {
  const test::StartedPool started;
  std::vector<uint32_t> sums(static_cast<size_t>(w + 1) * (h + 1));
  const IntegralImage integral = BuildIntegralImage({pixels.data(), w, h}, sums.data());
  uint64_t digest = 0;
  for (const int32_t filter : kFilterSizes) {
    std::vector<int32_t> responses(static_cast<size_t>(w) * h, 0x5A5A5A5A);
    ComputeResponses(integral, {responses.data(), filter, w, h});
    digest = digest * 3 + test::Digest(responses);
  }
  return digest;
}

TEST(ResponseLayer, IsTheSameOnEveryPlatform) {
  std::vector<uint8_t> cross(40 * 40, 255);  // so large that its product of derivatives wraps
  for (int y = 0; y < 27; ++y) {
    for (int x = 0; x < 27; ++x) {
      const bool upright = y >= 6 && y < 21 && x >= 9 && x < 18, lying = x >= 6 && x < 21 && y >= 9 && y < 18;
      if (upright || lying) cross[static_cast<size_t>((y + 5) * 40 + x + 6)] = 0;
    }
  }
  uint64_t digest = Responses(cross, 40, 40);
  // Narrower than the filters, as wide as one, and wider than the part of a row that is worked on at once.
  for (const auto& [w, h] :
       {std::pair{8, 30}, {20, 20}, {27, 27}, {30, 28}, {64, 64}, {517, 31}, {31, 130}}) {
    digest = digest * 3 + Responses(test::RandomPlane<uint8_t>(int64_t{w} * h), w, h);
    digest = digest * 3 + Responses(test::RandomPlane<uint8_t>(int64_t{w} * h, 2, 254), w, h);
  }
  EXPECT_EQ(digest, 16829832012211855603u);
}

}  // namespace
}  // namespace zolt
