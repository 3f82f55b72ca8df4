#include "registration/search_forest.h"

#include <gtest/gtest.h>

#include <vector>

#include "base/alloc_hooks.h"
#include "support/digest.h"
#include "support/started_pool.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

constexpr int32_t kFar = 0x7FFFFFFF;

/// Descriptors and the forest over them, in blocks of exactly the size they need.
struct Indexed {
  explicit Indexed(std::vector<int32_t> words)
      : descriptors(std::move(words)),
        count(static_cast<int32_t>(descriptors.size() / 64)),
        nodes(static_cast<size_t>(4 * (count - 1))) {
    const test::StartedPool started;
    EXPECT_EQ(BuildForest(list(), forest(), DefaultHooks()), 0);
  }
  FeatureList list() { return {nullptr, descriptors.data(), count}; }
  KdForest forest() { return {nodes.data(), roots}; }
  std::vector<NeighbourPair> Match(std::vector<int32_t> queries) {
    const test::StartedPool started;
    std::vector<NeighbourPair> pairs(queries.size() / 64);
    const FeatureList query = {nullptr, queries.data(), static_cast<int32_t>(pairs.size())};
    EXPECT_EQ(MatchDescriptors(query, list(), forest(), pairs.data(), DefaultHooks()), 0);
    return pairs;
  }
  std::vector<int32_t> descriptors;
  int32_t count;
  std::vector<KdNode> nodes;
  int32_t roots[4] = {};
};

/// Values as far apart as those of unit vectors: +-2^20.
std::vector<int32_t> RandomDescriptors(int count) {
  return test::RandomPlane<int32_t>(int64_t{count} * 64, 1 << 21, -(1 << 20));
}

TEST(SearchForest, TreesAndNearestTwoAreTheSameOnEveryPlatform) {
  std::vector<std::vector<int32_t>> inputs = {
      std::vector<int32_t>(100 * 64, -5)};  // equal values: cut in half
  for (const int n : {1, 2, 3, 5, 31, 64, 900}) inputs.push_back(RandomDescriptors(n));
  std::vector<int32_t> skewed(600 * 64);  // each mean is pulled up by the one largest value
  for (int i = 0; i < 600; ++i) skewed[static_cast<size_t>(i) * 64 + 7] = i < 23 ? 1 << i : -i;
  inputs.push_back(skewed);
  uint64_t trees = 0, neighbours = 0;
  for (const auto& input : inputs) {
    Indexed indexed(input);
    // Every reference again, with noise that grows along the list.
    auto queries = input;
    const auto n = queries.size() / 64;
    for (size_t i = 0; i < queries.size(); ++i) {
      queries[i] += (static_cast<int32_t>(i * 7919 % 2001) - 1000) * static_cast<int32_t>(1 + i * 12 / n);
    }
    const auto pairs = indexed.Match(queries);
    size_t right = 0;
    for (size_t q = 0; q < n; ++q) right += static_cast<size_t>(pairs[q].best_index) == q;
    EXPECT_TRUE(right >= n * 9 / 10 || n == 100 || n == 600) << n;
    EXPECT_EQ(pairs[0].second_distance == kFar, n == 1);
    trees = trees * 3 + test::Digest(indexed.nodes);
    neighbours = neighbours * 3 + test::Digest(pairs);
  }
  EXPECT_EQ(trees, 36176284103027950u);
  EXPECT_EQ(neighbours, 18099667410220518284u);
}

TEST(SearchForest, DistancesBeyondARightAngleWrapAndFewQueriesWork) {
  std::vector<int32_t> two(2 * 64);
  two[0] = 1 << 23;
  two[64 + 1] = 1 << 20;
  std::vector<int32_t> query(64);
  query[0] = -(1 << 23);  // 2^32 from the first: wraps to 0
  Indexed indexed(two);
  for (int count = 0; count <= 5; ++count) {
    std::vector<int32_t> queries;
    for (int i = 0; i < count; ++i) queries.insert(queries.end(), query.begin(), query.end());
    for (const NeighbourPair& pair : indexed.Match(queries)) {
      EXPECT_EQ(pair.best_distance, 0);
      EXPECT_EQ(pair.best_index, 0);
      EXPECT_EQ(pair.second_distance, (1 << 30) + (1 << 24));
    }
  }
}

}  // namespace
}  // namespace zolt
