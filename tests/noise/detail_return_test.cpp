#include "noise/detail_return.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

void* Refuse(size_t, size_t) {
  return nullptr;
}

TEST(DetailReturn, TheLastBlockActsTwiceWhereItOverlaps) {
  const int w = 21;  // two blocks, then one over columns 13..20
  const Bytes zero(2 * w, 0), half(2 * w, 128), f(2 * w, 16), full(2 * w, 255);
  Bytes by_weight(2 * w, 216), by_mask(2 * w, 200), scaled(2 * w, 200);
  DetailReturnByWeight(by_weight.data(), f.data(), half.data(), w, 2, 255, 8);     // half way to 16
  DetailReturnByMask(by_mask.data(), zero.data(), half.data(), w, 2, w, 128, 64);  // half way to 0
  ScaleByLuma(scaled.data(), half.data(), w, 2, 255);                              // by a half
  for (int i = 0; i < 2 * w; ++i) {
    const bool twice = i % w >= 13 && i % w < 16;
    ASSERT_EQ(by_weight[static_cast<size_t>(i)], twice ? 66 : 116) << i;
    ASSERT_EQ(by_mask[static_cast<size_t>(i)], twice ? 50 : 100) << i;
    ASSERT_EQ(scaled[static_cast<size_t>(i)], twice ? 50 : 100) << i;
  }
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

TEST(GaussianGate, FavoursTheCentre) {
  Bytes plane(256);
  for (size_t i = 0; i < 256; ++i) plane[i] = static_cast<uint8_t>(i);
  const Bytes before = plane;
  GaussianGate(plane.data(), 256, 256, 1, 100, 130);
  for (int i = 0; i < 256; ++i) {
    const double gate = std::exp(-(i - 130) * (i - 130) / 20000.0);
    ASSERT_EQ(plane[static_cast<size_t>(i)], static_cast<int>(i * gate)) << i;
  }
  EXPECT_EQ(plane[255], 116);

  plane = before;
  GaussianGate(plane.data(), 256, 256, 1, 0,
               130);  // the narrowest gate passes nothing but at most its centre
  for (size_t i = 0; i < 256; ++i) EXPECT_TRUE(plane[i] == 0 || i == 130);

  plane = before;
  GaussianGate(plane.data(), 256, 256, 1, -1, 130);
  EXPECT_EQ(plane, before);
  GaussianGate(plane.data(), 256, 256, 1, 100, 130, Refuse);
  EXPECT_EQ(plane, before);
  GaussianGate(plane.data(), 100, 90, 2, 100, 130);  // two rows of 90 in a pitch of 100
  EXPECT_EQ(Bytes(plane.begin() + 90, plane.begin() + 100), Bytes(before.begin() + 90, before.begin() + 100));
  EXPECT_EQ(Bytes(plane.begin() + 190, plane.end()), Bytes(before.begin() + 190, before.end()));
}

TEST(ScaleByLuma, DarkensBelowTheKneeOnly) {
  const Bytes luma = {0, 1, 90, 127, 180, 181, 254, 255};
  Bytes plane(8, 255);
  ScaleByLuma(plane.data(), luma.data(), 8, 1, 180);  // 182 of 32768 per grey level
  EXPECT_EQ(plane, (Bytes{0, 1, 127, 179, 254, 255, 255, 255}));
  for (const int32_t knee : {std::numeric_limits<int32_t>::min(), 0, 127}) {
    Bytes same(8, 255);
    ScaleByLuma(same.data(), luma.data(), 8, 1, knee);
    EXPECT_EQ(same, Bytes(8, 255));
  }
  ScaleByLuma(plane.data(), luma.data(), 8, 1, std::numeric_limits<int32_t>::max());
  EXPECT_EQ(plane, Bytes(8, 0));
}

}  // namespace
}  // namespace zolt
