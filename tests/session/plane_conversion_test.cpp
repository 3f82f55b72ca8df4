#include "session/plane_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "support/log_lines.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"
#include "zolt_mfdenoise.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(PlaneConversion, ThreadsThatDoNotStartLoseNothing) {
  const int w = 72, h = 72;
  const Bytes frame = test::RandomPlane<uint8_t>(int64_t{w} * h * 3 / 2);
  const auto convert = [&] {
    Bytes planes(w * h / 2), pairs(w * h / 2),
        copy(1003);  // quarters of 240 bytes, the last thread has the rest
    SplitChroma(frame.data(), planes.data(), w, h, ZOLT_MF_FORMAT_NV21);
    MergeChroma(frame.data(), pairs.data(), w, h, ZOLT_MF_FORMAT_NV12);
    CopyInThreads(copy.data(), frame.data(), copy.size());
    EXPECT_TRUE(std::equal(copy.begin(), copy.end(), frame.begin()));
    return std::pair(planes, pairs);
  };
  const auto expected = convert();
  for (int k = 0; k < 4; ++k) {
    test::TakeLogLines();
    const test::ThreadFailure failure(k, /*all_after=*/true);
    EXPECT_EQ(convert(), expected) << k;
    EXPECT_EQ(failure.attempts(), k + 3);
    EXPECT_EQ(test::TakeLogLines().size(), 3u);
  }
}

}  // namespace
}  // namespace zolt
