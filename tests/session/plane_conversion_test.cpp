#include "session/plane_conversion.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/log_lines.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"
#include "zolt_mfdenoise.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

// With every thread alive, then with the k-th failing: planes are complete either way.
template <typename Body>
void WithEveryThreadFailure(Body body) {
  for (int k = -1; k < 4; ++k) {
    SCOPED_TRACE(testing::Message() << "thread " << k << " fails");
    test::TakeLogLines();
    {
      const test::ThreadFailure failure(k);
      body();
      EXPECT_EQ(failure.attempts(), k < 0 ? 4 : k + 1);
    }
    EXPECT_EQ(test::Contains(test::TakeLogLines(), 6, "Thread Create Failed!"), k >= 0);
  }
}

TEST(PlaneConversion, SplitsAndMergesBothByteOrders) {
  for (const YuvImage& size : test::AwkwardSizes()) {
    const int w = size.width, h = size.height;
    const size_t luma = static_cast<size_t>(w) * static_cast<size_t>(h);
    const Bytes frame = test::RandomPlane<uint8_t>(static_cast<int64_t>(luma) * 3 / 2);
    for (const uint32_t format : {ZOLT_MF_FORMAT_NV21, ZOLT_MF_FORMAT_NV12}) {
      SCOPED_TRACE(testing::Message() << w << "x" << h << " format " << format);
      Bytes expected(luma / 2), planes(luma / 2), pairs(luma / 2);
      for (size_t i = 0; i < luma / 4; ++i) {
        const uint8_t even = frame[luma + 2 * i], odd = frame[luma + 2 * i + 1];
        expected[i] = format == ZOLT_MF_FORMAT_NV12 ? even : odd;
        expected[luma / 4 + i] = format == ZOLT_MF_FORMAT_NV12 ? odd : even;
      }
      SplitChroma(frame.data(), planes.data(), w, h, format);
      ASSERT_EQ(planes, expected);
      Bytes planar(frame.begin(), frame.begin() + static_cast<int64_t>(luma));
      planar.insert(planar.end(), planes.begin(), planes.end());
      MergeChroma(planar.data(), pairs.data(), w, h, format);
      ASSERT_EQ(pairs, Bytes(frame.begin() + static_cast<int64_t>(luma), frame.end()));
    }
  }
}

TEST(PlaneConversion, ThreadsThatDoNotStartLoseNothing) {
  const int w = 72, h = 72;
  const size_t luma = static_cast<size_t>(w) * h;
  const Bytes frame = test::RandomPlane<uint8_t>(static_cast<int64_t>(luma) * 3 / 2);
  Bytes expected(luma / 2), merged(luma / 2);
  SplitChroma(frame.data(), expected.data(), w, h, ZOLT_MF_FORMAT_NV21);
  MergeChroma(frame.data(), merged.data(), w, h, ZOLT_MF_FORMAT_NV12);
  WithEveryThreadFailure([&] {
    Bytes planes(luma / 2);
    SplitChroma(frame.data(), planes.data(), w, h, ZOLT_MF_FORMAT_NV21);
    EXPECT_EQ(planes, expected);
  });
  WithEveryThreadFailure([&] {
    Bytes pairs(luma / 2);
    MergeChroma(frame.data(), pairs.data(), w, h, ZOLT_MF_FORMAT_NV12);
    EXPECT_EQ(pairs, merged);
  });
  WithEveryThreadFailure([&] {
    Bytes copy(frame.size());
    CopyInThreads(copy.data(), frame.data(), frame.size());
    EXPECT_EQ(copy, frame);
  });
  Bytes ragged(1003);  // quarters of 240 bytes, the last thread has the rest
  CopyInThreads(ragged.data(), frame.data(), ragged.size());
  EXPECT_EQ(ragged, Bytes(frame.begin(), frame.begin() + 1003));
}

}  // namespace
}  // namespace zolt
