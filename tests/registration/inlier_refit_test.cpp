#include "registration/inlier_refit.h"

#include <gtest/gtest.h>

#include <vector>

#include "registration/homography.h"
#include "support/test_hooks.h"

namespace zolt {
namespace {

using test::TestHooks;

/// 100 pairs on a grid: a motion by (5, -3) for the first `moved`, somewhere else for the others.
struct Grid {
  explicit Grid(int moved) {
    for (int i = 0; i < 100; ++i) {
      const Point p = {static_cast<float>(i % 10 * 60), static_cast<float>(i / 10 * 40)};
      reference.push_back(p);
      current.push_back(i < moved ? Point{p.x + 5, p.y - 3} : Point{p.x - 50, p.y + 70});
    }
    matches = {reference.data(), current.data(), 100, {}, nullptr, nullptr};
  }
  std::vector<Point> reference, current;
  MatchSet matches;
};

TEST(ScoreModel, CountsUpToTheLimitInclusive) {
  Grid grid(90);
  const float model[9] = {1, 0, 5, 0, 1, 0, 0, 0, 1};  // 3 pixels off in y
  std::vector<uint8_t> mask(100, 9);
  InlierScore score = ScoreModel(grid.matches, model, 9.0f, mask.data());
  EXPECT_EQ(score.count, 90);
  EXPECT_EQ(score.error, 90 * 9.0f);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(mask[i], i < 90 ? 1 : 0);
  score = ScoreModel(grid.matches, model, 8.999f, mask.data());
  EXPECT_EQ(score.count, 0);
}

TEST(RefitInliers, GrowsFromAFewPairsToAllThatAgree) {
  Grid grid(80);
  std::vector<uint8_t> mask(100, 0);
  for (int i : {0, 9, 33, 41, 70, 79}) mask[i] = 1;
  InlierScore score = {6, 123.0f};
  float model[9] = {};
  TestHooks::Reset();
  EXPECT_EQ(RefitInliers(grid.matches, mask.data(), model, 9.0f, &score, TestHooks::Hooks()), 0);
  EXPECT_EQ(score.count, 80);
  EXPECT_LT(score.error, 0.1f);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(mask[i], i < 80 ? 1 : 0);
  const Point p = MapPoint(model, {300, 200});
  EXPECT_NEAR(p.x, 305, 0.01);
  EXPECT_NEAR(p.y, 197, 0.01);
  ASSERT_EQ(TestHooks::Calls().size(), 2u);
  EXPECT_EQ(TestHooks::Calls()[0].size, 60u * 100 + 56);
  EXPECT_EQ(TestHooks::Calls()[0].pool, "surf_reg");
  EXPECT_EQ(TestHooks::Outstanding(), 0);
}

}  // namespace
}  // namespace zolt
