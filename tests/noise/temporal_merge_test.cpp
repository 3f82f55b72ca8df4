#include "noise/temporal_merge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/log_lines.h"
#include "support/slow_burst.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

struct FoldSetup {
  FoldSetup(int w, int h, uint8_t share)
      : reference(w, h), aligned(w, h), mask(static_cast<size_t>(w) * static_cast<size_t>(h)) {
    reference.bytes = test::RandomPlane<uint8_t>(static_cast<int64_t>(reference.bytes.size()));
    aligned.bytes = test::RandomPlane<uint8_t>(static_cast<int64_t>(aligned.bytes.size()));
    std::reverse(aligned.bytes.begin(), aligned.bytes.end());
    mask = test::RandomPlane<uint8_t>(static_cast<int64_t>(mask.size()), 256 * 3);
    for (size_t i = 0; i < mask.size(); i += 3) mask[i] = mask[i] < 128 ? 0 : 255;
    map = test::RandomPlane<uint8_t>(static_cast<int64_t>(mask.size()), 255);
    context.images = {{reference.image(), aligned.image()}, 2};
    context.ghost = {mask.data(), nullptr};
    context.nr.weightMap = map.data();
    context.nr.blendWeight = share;
    context.nr.iirImgNum = &folded;
  }
  test::Frame reference, aligned;
  Bytes mask, map;
  int32_t folded = 1;
  NrStageContext context = {};
};

TEST(TemporalMerge, EqualsThePixelwiseFold) {
  std::vector<std::pair<int, int>> sizes = {{24, 64},   {16, 64},   {2056, 8}, {3000, 16},
                                            {40, 1002}, {24, 1004}, {32, 40},  {18, 24}};
  for (const YuvImage& size : test::AwkwardSizes()) sizes.emplace_back(size.width, size.height);
  for (const auto& [w, h] : sizes) {
    for (const uint8_t share : {128, 156, 210, 1, 0}) {
      for (const bool in_place : {false, true}) {
        SCOPED_TRACE(testing::Message()
                     << w << "x" << h << " share " << int{share} << " in place " << in_place);
        FoldSetup setup(w, h, share);
        test::Frame out(w, h, 77, 88);
        Bytes expected = in_place ? setup.reference.bytes : out.bytes, expected_map = setup.map;
        test::SlowFold(setup.aligned, setup.mask, share, in_place ? expected : setup.reference.bytes,
                       &expected, &expected_map);
        test::Frame& target = in_place ? setup.reference : out;
        ASSERT_EQ(TemporalNrMaincall(setup.context, target.image()), 0);
        ASSERT_EQ(target.bytes, expected);
        ASSERT_EQ(setup.map, expected_map);
        EXPECT_EQ(setup.folded, 2);
      }
    }
  }
}

TEST(TemporalMerge, AThreadThatDoesNotStartFailsTheFold) {
  for (int k = 0; k < 4; ++k) {
    FoldSetup setup(64, 64, 128);
    test::Frame out(64, 64);
    test::TakeLogLines();
    const test::ThreadFailure failure(k);
    EXPECT_EQ(TemporalNrMaincall(setup.context, out.image()), -997);
    EXPECT_EQ(setup.folded, 1);
    EXPECT_EQ(failure.attempts(), 4);
    EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "pthread_create Error!"));
  }
}

}  // namespace
}  // namespace zolt
