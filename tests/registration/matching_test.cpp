#include "registration/matching.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/random.h"
#include "registration/feature_list.h"
#include "registration/homography.h"
#include "registration/robust_fit.h"
#include "registration/search_forest.h"
#include "support/log_lines.h"
#include "support/test_hooks.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

using test::TestHooks;

constexpr char kNoRoom[] = "GETFEATURE_SURF: malloc failed!";

/// A list that owns its memory.
struct Features {
  std::vector<KeyPoint> keypoints;
  std::vector<int32_t> descriptors;

  void Add(int32_t x, int32_t y, const int32_t* descriptor) {
    keypoints.push_back({0, 0, x, y, 0, 9});
    descriptors.insert(descriptors.end(), descriptor, descriptor + kDescriptorWords);
  }
  FeatureList list() {
    return {keypoints.data(), descriptors.data(), static_cast<int32_t>(keypoints.size())};
  }
};

/// `matching` keypoints seen in both frames, moved by (20, -8) pixels, each followed by one that only the
/// current frame has; behind them a pair of reference keypoints that look alike.
class Matching : public testing::Test {
 protected:
  void SetUp() override {
    TestHooks::Reset();
    test::TakeLogLines();
    ASSERT_EQ(RegistrationPool().Start(), 0);
  }
  void TearDown() override {
    RegistrationPool().Stop();
    EXPECT_EQ(TestHooks::Outstanding(), 0);
    TestHooks::Reset();
  }

  const int32_t* RandomDescriptor() {
    for (int32_t& v : scratch_) v = static_cast<int32_t>(random_.Next(1 << 21)) - (1 << 20);
    return scratch_;
  }

  void Build(int matching) {
    for (int i = 0; i < matching; ++i) {
      const auto x = static_cast<int32_t>(random_.Next(640 * 256)),
                 y = static_cast<int32_t>(random_.Next(480 * 256));
      const int32_t* descriptor = RandomDescriptor();
      reference_.Add(x, y, descriptor);
      current_.Add(x + 20 * 256, y - 8 * 256, descriptor);
      current_.Add(7, 7, RandomDescriptor());
    }
    const int32_t* twice = RandomDescriptor();
    for (int i = 0; i < 2; ++i) reference_.Add(99, 99, twice);
    current_.Add(99, 99, twice);
    nodes_.resize(4 * reference_.keypoints.size());
    forest_ = {nodes_.data(), roots_};
    ASSERT_EQ(BuildForest(reference_.list(), forest_, TestHooks::Hooks()), 0);
  }

  int32_t Coarse() {
    matches_ = {reference_points_, current_points_, 0, {}, nullptr, nullptr};
    return MatchCoarse(reference_.list(), current_.list(), forest_, &matches_, 0.65f, TestHooks::Hooks());
  }

  Features reference_, current_;
  MatchSet matches_ = {};
  Point reference_points_[200], current_points_[200];

 private:
  MultiplyWithCarry random_;
  int32_t scratch_[kDescriptorWords];
  std::vector<KdNode> nodes_;
  int32_t roots_[kTreeCount];
  KdForest forest_;
};

TEST_F(Matching, CoarsePairsWhatOnlyOneKeypointLooksLike) {
  Build(60);
  TestHooks::Reset();
  ASSERT_EQ(Coarse(), 0);
  ASSERT_EQ(matches_.count, 60);
  for (int i = 0; i < 60; ++i) {
    EXPECT_EQ(matches_.reference[i].x, static_cast<float>(reference_.keypoints[i].x) / 256);
    EXPECT_EQ(matches_.reference[i].y, static_cast<float>(reference_.keypoints[i].y) / 256);
    EXPECT_EQ(matches_.current[i].x, static_cast<float>(current_.keypoints[2 * i].x) / 256);
    EXPECT_EQ(matches_.current[i].y, static_cast<float>(current_.keypoints[2 * i].y) / 256);
  }
  EXPECT_NEAR(matches_.homography[2], 20, 0.05);
  EXPECT_NEAR(matches_.homography[5], -8, 0.05);
  EXPECT_EQ(TestHooks::Calls()[0].size, 20u * 121);
  EXPECT_EQ(TestHooks::Calls()[0].pool, "surf_reg");
}

TEST_F(Matching, CoarseNeedsFivePairs) {
  Build(4);
  EXPECT_EQ(Coarse(), 3);
  // This refusal is silent; workers may have told that a processor can't be chosen.
  for (const auto& line : test::TakeLogLines()) EXPECT_EQ(line.text.find("GETFEATURE"), std::string::npos);
}

TEST_F(Matching, FivePairsThatAgreePassBothStages) {
  Build(5);
  EXPECT_EQ(Coarse(), 0);
  EXPECT_EQ(matches_.count, 5);
  EXPECT_EQ(MatchFine(4, &matches_, false, TestHooks::Hooks()), 0);
  EXPECT_EQ(matches_.count, 5);
  EXPECT_NEAR(matches_.homography[2], 80, 0.5);
}

TEST_F(Matching, FineScalesAndExchangesTheLists) {
  for (const bool exchange : {false, true}) {
    if (!exchange) Build(60);
    ASSERT_EQ(Coarse(), 0);
    EXPECT_EQ(MatchFine(4, &matches_, exchange, TestHooks::Hooks()), 0);
    EXPECT_EQ(matches_.count, 60);
    EXPECT_EQ(matches_.reference == current_points_, exchange);
    EXPECT_EQ(reference_points_[3].x, static_cast<float>(reference_.keypoints[3].x) / 64);
    const Point p = MapPoint(matches_.homography, {1000, 1000});
    EXPECT_NEAR(p.x, exchange ? 920 : 1080, 0.05);
    EXPECT_NEAR(p.y, exchange ? 1032 : 968, 0.05);
    EXPECT_EQ(matches_.homography[8], 1);
  }
}

TEST_F(Matching, FineRefusesFourPairsAndMissingMemory) {
  Build(60);
  ASSERT_EQ(Coarse(), 0);
  const float x = matches_.reference[0].x;
  TestHooks::Reset();
  TestHooks::RefuseAllocation(0);
  EXPECT_EQ(MatchFine(4, &matches_, false, TestHooks::Hooks()), -1000);
  EXPECT_EQ(TestHooks::Calls()[0].size, 176u * 60 + 224);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, kNoRoom));
  EXPECT_EQ(matches_.reference[0].x, x);
  matches_.count = 4;
  EXPECT_EQ(MatchFine(4, &matches_, false, TestHooks::Hooks()), 3);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 4, "GETFEATURE_SURF: not enough keypoints!"));
}

// Pairs too close together for a sample still make a model: all of them.
TEST_F(Matching, FineSolvesAllPairsWhenNoSampleFits) {
  for (int i = 0; i < 9; ++i) {
    reference_points_[i] = {static_cast<float>(i % 3 * 4), static_cast<float>(i / 3 * 4)};
    current_points_[i] = {reference_points_[i].x + 1, reference_points_[i].y + 2};
  }
  matches_ = {reference_points_, current_points_, 9, {}, nullptr, nullptr};
  EXPECT_EQ(MatchFine(1, &matches_, false, TestHooks::Hooks()), 0);
  EXPECT_EQ(matches_.count, 9);
  EXPECT_NEAR(matches_.homography[2], 1, 0.01);
  EXPECT_NEAR(matches_.homography[5], 2, 0.01);
}

}  // namespace
}  // namespace zolt
