#include "registration/robust_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/random.h"
#include "registration/homography.h"
#include "support/digest.h"
#include "support/test_hooks.h"

namespace zolt {
namespace {

using test::TestHooks;

bool Same(const std::vector<Point>& a, const std::vector<Point>& b) {
  for (size_t i = 0; i < a.size(); ++i) {
    if (a[i].x != b[i].x || a[i].y != b[i].y) return false;
  }
  return a.size() == b.size();
}

/// Pairs of a 1000 x 750 frame under a small rotation and shift, each third one displaced by far if
/// `outliers`.
struct Pairs {
  Pairs(int n, bool outliers) {
    const float motion[9] = {0.9994f, -0.0349f, 20.5f, 0.0349f, 0.9994f, -7.25f, 0, 0, 1};
    MultiplyWithCarry random;
    for (int i = 0; i < n; ++i) {
      const Point p = {static_cast<float>(random.Next(1000)), static_cast<float>(random.Next(750))};
      Point q = MapPoint(motion, p);
      if (outliers && i % 3 == 1) {
        q.x += 40 + static_cast<float>(random.Next(300));
        q.y -= 30 + static_cast<float>(random.Next(300));
      } else {
        q.x += static_cast<float>(random.Next(3)) / 4;
      }
      reference.push_back(p);
      current.push_back(q);
    }
  }

  int32_t Fit(const RansacControl& control) {
    matches = {reference.data(), current.data(), static_cast<int32_t>(reference.size()), {},
               nullptr,          nullptr};
    std::vector<uint8_t> buffer(RansacBufferSize(matches.count), 0xA5);
    return RansacHomography(&matches, matches.homography, control, buffer.data(), hooks);
  }

  std::vector<Point> reference, current;
  MatchSet matches;
  MfAllocHooks hooks = TestHooks::Hooks();
};

TEST(RansacHomography, KeepsThePairsThatAgreeInTheirOrder) {
  TestHooks::Reset();
  for (const int n : {9, 30, 600, 5999}) {
    const Pairs before(n, true);
    Pairs pairs = before;
    EXPECT_EQ(pairs.Fit(kCoarseControl), 0);
    ASSERT_EQ(pairs.matches.count, n - n / 3 - (n % 3 == 2 ? 1 : 0)) << n;
    for (int i = 0, kept = 0; i < n; ++i) {
      if (i % 3 == 1) continue;
      EXPECT_EQ(pairs.reference[kept].x, before.reference[i].x);
      EXPECT_EQ(pairs.current[kept++].y, before.current[i].y);
    }
    const Point corner = MapPoint(pairs.matches.homography, {1000, 750});
    EXPECT_LT(std::hypot(corner.x - (999.4f - 26.175f + 20.75f), corner.y - (34.9f + 749.55f - 7.25f)), 2);
  }
  EXPECT_EQ(TestHooks::Outstanding(), 0);
}

// So noisy that pairs come and go from refit to refit.
TEST(RansacHomography, ChoosesTheSameModelOnEveryPlatform) {
  std::vector<float> models;
  for (const int n : {40, 300}) {
    Pairs pairs(n, true);
    MultiplyWithCarry random;
    for (Point& p : pairs.current) p.y += static_cast<float>(random.Next(60)) / 8;
    EXPECT_EQ(pairs.Fit(kCoarseControl), 0);
    models.insert(models.end(), pairs.matches.homography, pairs.matches.homography + 9);
  }
  EXPECT_EQ(test::Digest(models), 15719533211683270889u);
}

TEST(RansacHomography, FivePairsAreEnoughAndNotRefittedButFourAreNot) {
  TestHooks::Reset();
  Pairs five(5, false);
  EXPECT_EQ(five.Fit(kCoarseControl), 0);
  EXPECT_EQ(five.matches.count, 5);
  EXPECT_NEAR(five.matches.homography[0], 1, 0.01);
  EXPECT_TRUE(TestHooks::Calls().empty());

  const Pairs before(4, false);
  Pairs four = before;
  EXPECT_EQ(four.Fit(kCoarseControl), 0);
  EXPECT_EQ(four.matches.count, 4);
  EXPECT_TRUE(Same(four.reference, before.reference) && Same(four.current, before.current));
  for (const float v : four.matches.homography) EXPECT_EQ(v, 0);
}

TEST(RansacHomography, NothingAcceptedLeavesTheListsAndCountsFour) {
  Pairs pairs(40, false);
  MultiplyWithCarry random;
  for (Point& p : pairs.current) {
    p = {static_cast<float>(random.Next(100000)), static_cast<float>(random.Next(100000))};
  }
  const Pairs before = pairs;
  EXPECT_EQ(pairs.Fit(kCoarseControl), 0);
  EXPECT_EQ(pairs.matches.count, 4);
  EXPECT_TRUE(Same(pairs.reference, before.reference) && Same(pairs.current, before.current));
}

TEST(RansacHomography, WithoutAUsableSampleNothingChanges) {
  Pairs line(30, false);
  for (int i = 0; i < 30; ++i)
    line.reference[i] = {30.0f * static_cast<float>(i), 20.0f * static_cast<float>(i)};
  const Pairs before = line;
  EXPECT_EQ(line.Fit(kFineControl), -1);
  EXPECT_EQ(line.matches.count, 30);
  EXPECT_TRUE(Same(line.reference, before.reference) && Same(line.current, before.current));
  Pairs three(3, false);
  EXPECT_EQ(three.Fit(kFineControl), -1);
  // A square is large enough from a side of the root of 200 on.
  for (const float y : {2.0f, 1.0f}) {
    Pairs square(4, false);
    square.reference = {{50, 50}, {64, 50 + y}, {64 - y, 64 + y}, {50 - y, 64}};
    square.current = square.reference;
    EXPECT_EQ(square.Fit(kFineControl), y == 2.0f ? 0 : -1);
  }
}

TEST(RansacHomography, ARefusedRefitPassesOverTheSample) {
  TestHooks::Reset();
  TestHooks::RefuseAllocation(0);
  Pairs pairs(300, true);
  EXPECT_EQ(pairs.Fit(kFineControl), 0);
  EXPECT_EQ(pairs.matches.count, 200);
  EXPECT_EQ(TestHooks::Outstanding(), 0);
  pairs = Pairs(300, true);
  pairs.hooks.alloc = [](uint32_t, const char*, uint32_t) -> void* { return nullptr; };
  EXPECT_EQ(pairs.Fit(kFineControl), 0);
  EXPECT_LE(pairs.matches.count, 5) << "more would have been refitted";
}

}  // namespace
}  // namespace zolt
