#include "registration/search_forest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "base/alloc_hooks.h"
#include "support/log_lines.h"
#include "support/started_pool.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

constexpr int32_t kFar = 0x7FFFFFFF;

/// Descriptors and the forest over them, in blocks of exactly the size they need.
struct Indexed {
  explicit Indexed(std::vector<int32_t> words)
      : descriptors(std::move(words)),
        count(static_cast<int32_t>(descriptors.size() / 64)),
        nodes(static_cast<size_t>(4 * (2 * count - 1))) {
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

int32_t Distance(const int32_t* a, const int32_t* b) {
  uint32_t sum = 0;
  for (int d = 0; d < 64; ++d) {
    const int64_t difference = (int64_t{a[d]} - b[d]) >> 8;
    sum += static_cast<uint32_t>(difference * difference);
  }
  return static_cast<int32_t>(sum);
}

/// Collects the keypoints below a node; every value must be on its side of the pivot. Returns the depth.
int Collect(Indexed* indexed, int32_t node_index, std::vector<int32_t>* found) {
  const KdNode& node = indexed->nodes[static_cast<size_t>(node_index)];
  if (node.left == kNoNode) {
    EXPECT_EQ(node.right, kNoNode);
    found->push_back(node.dimension_or_keypoint);
    return 1;
  }
  const size_t first = found->size();
  const int left_depth = Collect(indexed, node.left, found);
  const size_t middle = found->size();
  const int right_depth = Collect(indexed, node.right, found);
  for (size_t i = first; i < found->size(); ++i) {
    const int32_t value =
        indexed->descriptors[static_cast<size_t>((*found)[i]) * 64 + node.dimension_or_keypoint];
    EXPECT_TRUE(i < middle ? value <= node.pivot : value >= node.pivot);
  }
  return 1 + std::max(left_depth, right_depth);
}

TEST(SearchForest, EveryTreeHoldsEveryKeypointOnItsSide) {
  std::vector<std::vector<int32_t>> inputs = {RandomDescriptors(1), RandomDescriptors(2),
                                              RandomDescriptors(3), RandomDescriptors(777),
                                              std::vector<int32_t>(100 * 64, -5)};
  std::vector<int32_t> skewed(600 * 64);  // each mean is pulled up by the one largest value
  for (int i = 0; i < 600; ++i) skewed[static_cast<size_t>(i) * 64 + 7] = i < 23 ? 1 << i : -i;
  inputs.push_back(skewed);
  for (auto& input : inputs) {
    Indexed indexed(input);
    for (const int32_t root : indexed.roots) {
      std::vector<int32_t> found;
      const int depth = Collect(&indexed, root, &found);
      EXPECT_TRUE(indexed.count != 100 || depth == 8) << "equal values are cut in the middle";
      std::sort(found.begin(), found.end());
      ASSERT_EQ(static_cast<int32_t>(found.size()), indexed.count);
      for (int32_t i = 0; i < indexed.count; ++i) EXPECT_EQ(found[static_cast<size_t>(i)], i);
    }
  }
}

/// The search with a plain queue: entries are taken out by a flag, and each lookup walks all of them.
NeighbourPair SlowSearch(Indexed* indexed, const int32_t* query) {
  struct Entry {
    int32_t node, distance;
    bool used;
  };
  std::vector<Entry> queue;
  std::vector<bool> visited(static_cast<size_t>(indexed->count));
  NeighbourPair pair = {kFar, kFar, 0, 0, 0};
  int checked = 0;
  const auto descend = [&](int32_t index, int32_t distance) {
    const KdNode* node = &indexed->nodes[static_cast<size_t>(index)];
    while (node->left != kNoNode) {
      const int64_t difference = int64_t{query[node->dimension_or_keypoint]} - node->pivot;
      const bool left = difference < 0;
      const auto bound = static_cast<int32_t>(distance + (difference * difference >> 23));
      if (bound < pair.second_distance && queue.size() < 2 * visited.size()) {
        queue.push_back({left ? node->right : node->left, bound, false});
      }
      node = &indexed->nodes[static_cast<size_t>(left ? node->left : node->right)];
    }
    const int32_t found = node->dimension_or_keypoint;
    if (visited[static_cast<size_t>(found)] || checked == 32) return;
    visited[static_cast<size_t>(found)] = true;
    ++checked;
    const int32_t d = Distance(query, &indexed->descriptors[static_cast<size_t>(found) * 64]);
    if (d >= pair.second_distance) return;
    const bool best = d < pair.best_distance;
    pair = best ? NeighbourPair{d, pair.best_distance, found, pair.best_index, 0}
                : NeighbourPair{pair.best_distance, d, pair.best_index, found, 0};
  };
  for (const int32_t root : indexed->roots) descend(root, 0);
  for (;;) {
    Entry* nearest = nullptr;
    for (Entry& entry : queue) {
      if (!entry.used && (nearest == nullptr || entry.distance < nearest->distance)) nearest = &entry;
    }
    if (checked == 32 || nearest == nullptr) return pair;
    nearest->used = true;
    const Entry taken = *nearest;  // descending may move the queue
    descend(taken.node, taken.distance);
  }
}

TEST(SearchForest, FindsWhatTheSlowSearchFinds) {
  for (const int n : {1, 2, 5, 31, 64, 900}) {
    Indexed indexed(RandomDescriptors(n));
    // Every reference again, with noise that grows along the list.
    auto queries = indexed.descriptors;
    for (size_t i = 0; i < queries.size(); ++i) {
      const auto amplitude = static_cast<int32_t>(1 + i * 12 / static_cast<size_t>(n));
      queries[i] += (static_cast<int32_t>(i * 7919 % 2001) - 1000) * amplitude;
    }
    const auto pairs = indexed.Match(queries);
    int right = 0;
    for (int q = 0; q < n; ++q) {
      const NeighbourPair slow = SlowSearch(&indexed, &queries[static_cast<size_t>(q) * 64]);
      const NeighbourPair& pair = pairs[static_cast<size_t>(q)];
      EXPECT_EQ(pair.best_distance, slow.best_distance);
      EXPECT_EQ(pair.second_distance, slow.second_distance);
      EXPECT_EQ(pair.best_index, slow.best_index);
      EXPECT_EQ(pair.second_index, slow.second_index);
      EXPECT_EQ(pair.second_distance == kFar, n == 1);
      right += pair.best_index == q;
    }
    EXPECT_GE(right, n * 9 / 10) << n;
  }
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

TEST(SearchForest, EachRefusedBlockIsReported) {
  const test::StartedPool started;
  Indexed indexed(RandomDescriptors(50));
  NeighbourPair pairs[50];
  for (int k = 0; k < 5; ++k) {
    test::TestHooks::Reset();
    test::TestHooks::RefuseAllocation(k == 4 ? 0 : k);
    test::TakeLogLines();
    EXPECT_EQ(k == 4 ? BuildForest(indexed.list(), indexed.forest(), test::TestHooks::Hooks())
                     : MatchDescriptors(indexed.list(), indexed.list(), indexed.forest(), pairs,
                                        test::TestHooks::Hooks()),
              -1000);
    EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "GETFEATURE_SURF: malloc failed!"));
    EXPECT_EQ(test::TestHooks::Outstanding(), 0);
    EXPECT_EQ(test::TestHooks::Calls()[0].size, k == 4 ? 50u * 4 : 4u * (50 * 16 + 4 + 20));
  }
}

}  // namespace
}  // namespace zolt
