#include "noise/detail_return.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

void* Refuse(size_t, size_t) {
  return nullptr;
}

TEST(EdgeReturnFromDetail, StepsAtTheTunedValues) {
  struct Row {
    int32_t detail;
    int peak, knee, strength, sigma;
  };
  for (const Row& row :
       {Row{-128, 200, 255, 128, 1300}, Row{-101, 200, 255, 128, 625}, Row{-100, 150, 200, 102, 600},
        Row{-81, 150, 200, 102, 125}, Row{-80, 150, 200, 102, 100}, Row{-79, 150, 200, 102, 100},
        Row{-78, 130, 180, 76, 100}, Row{0, 130, 180, 76, 100}}) {
    const EdgeReturnSettings s = EdgeReturnFromDetail(row.detail);
    EXPECT_EQ(s.centre, row.peak) << row.detail;
    EXPECT_EQ(s.peak, row.peak) << row.detail;
    EXPECT_EQ(s.knee, row.knee) << row.detail;
    EXPECT_EQ(s.strength, row.strength) << row.detail;
    EXPECT_EQ(s.sigma, row.sigma) << row.detail;
  }
  Bytes plane(8, 200);
  for (int64_t detail = -2147483648LL; detail <= 2147483647LL; detail += 98765432) {
    const EdgeReturnSettings s = EdgeReturnFromDetail(static_cast<int32_t>(detail));
    GaussianGate(plane.data(), 8, 8, 1, s.sigma, s.centre);
  }
}

TEST(GaussianGate, RefusedOrOffItLeavesThePlaneAndNeverWritesBetweenRows) {
  const Bytes before = test::RandomPlane<uint8_t>(200);
  Bytes plane = before;
  GaussianGate(plane.data(), 200, 200, 1, -1, 130);
  GaussianGate(plane.data(), 200, 200, 1, 100, 130, Refuse);
  EXPECT_EQ(plane, before);
  GaussianGate(plane.data(), 100, 90, 2, 100, 130);  // two rows of 90 in a pitch of 100
  for (size_t i = 0; i < 200; ++i) {
    const double gate = i % 100 < 90 ? std::exp(-(before[i] - 130) * (before[i] - 130) / 20000.0) : 1;
    EXPECT_EQ(plane[i], static_cast<int>(before[i] * gate)) << i;
  }
}

}  // namespace
}  // namespace zolt
