#include "registration/search_forest.h"

#include <algorithm>
#include <limits>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/log.h"
#include "base/random.h"
#include "base/result_codes.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

constexpr int32_t kJobs = 4;
constexpr int32_t kMeanSample = 101;  // entries of a range that choose its dimension and pivot
constexpr int32_t kLeafBudget = 32;   // leaves that a query may compare
constexpr int32_t kFar = std::numeric_limits<int32_t>::max();

/// Builds trees over ranges of an index array, in place.
class TreeBuilder {
 public:
  TreeBuilder(const int32_t* descriptors, KdNode* nodes) : descriptors_(descriptors), nodes_(nodes) {}

  /// Returns the root's index. Recurses into the smaller half only, so the depth is at most log2(count).
  int32_t Build(int32_t* indices, int32_t count) {
    const int32_t root = used_;
    for (int32_t node = used_++;;) {
      if (count == 1) {
        nodes_[node] = {indices[0], 0, kNoNode, kNoNode};
        return root;
      }
      const Cut cut = ChooseCut(indices, count);
      const int32_t split = Split(indices, count, cut);
      const bool left_is_smaller = split <= count - split;
      const int32_t small = left_is_smaller ? Build(indices, split) : Build(indices + split, count - split);
      const int32_t large = used_++;
      nodes_[node] = {cut.dimension, cut.pivot, left_is_smaller ? small : large,
                      left_is_smaller ? large : small};
      if (left_is_smaller) indices += split;
      count = left_is_smaller ? count - split : split;
      node = large;
    }
  }

 private:
  struct Cut {
    int32_t dimension, pivot;
  };

  const int32_t* Descriptor(int32_t index) const {
    return descriptors_ + static_cast<int64_t>(index) * kDescriptorWords;
  }

  /// The dimension of largest variance among the first entries, and its mean. Values lie in +-2^23: the sum
  /// of 101 takes 30 bits, that of the squares of 12-bit differences 31.
  Cut ChooseCut(const int32_t* indices, int32_t count) const {
    const int32_t sampled = std::min(count, kMeanSample);
    int32_t mean[kDescriptorWords] = {};
    for (int32_t i = 0; i < sampled; ++i) {
      const int32_t* v = Descriptor(indices[i]);
      for (int32_t d = 0; d < kDescriptorWords; ++d) mean[d] = WrapAdd(mean[d], v[d]);
    }
    for (int32_t& m : mean) m /= sampled;
    int32_t variance[kDescriptorWords] = {};
    for (int32_t i = 0; i < sampled; ++i) {
      const int32_t* v = Descriptor(indices[i]);
      for (int32_t d = 0; d < kDescriptorWords; ++d) {
        const int32_t difference = WrapSub(v[d], mean[d]) >> 12;
        variance[d] = WrapAdd(variance[d], WrapMul(difference, difference));
      }
    }
    const auto widest =
        static_cast<int32_t>(std::max_element(variance, variance + kDescriptorWords) - variance);
    return {widest, mean[widest]};
  }

  /// Two-pointer partition of [first, end): entries with a value below `limit` move to the front. Returns the
  /// end of those.
  int32_t Partition(int32_t* indices, int32_t first, int32_t end, int32_t dimension, int64_t limit) const {
    int32_t left = first, right = end - 1;
    for (;;) {
      while (left <= right && Descriptor(indices[left])[dimension] < limit) ++left;
      while (left <= right && Descriptor(indices[right])[dimension] >= limit) --right;
      if (left > right) return left;
      std::swap(indices[left++], indices[right--]);
    }
  }

  /// Smaller values, equal ones, larger ones; cut as near to the middle as the equal ones allow.
  int32_t Split(int32_t* indices, int32_t count, const Cut& cut) const {
    const int32_t smaller = Partition(indices, 0, count, cut.dimension, cut.pivot);
    const int32_t not_larger = Partition(indices, smaller, count, cut.dimension, int64_t{cut.pivot} + 1);
    if (smaller == count || not_larger == 0) return count / 2;
    return smaller > count / 2 ? smaller : std::min(count / 2, not_larger);
  }

  const int32_t* descriptors_;
  KdNode* nodes_;
  int32_t used_ = 0;
};

/// Squared distance of two unit vectors, Q30. Vectors further apart than a right angle wrap.
int32_t LeafDistance(const int32_t* __restrict a, const int32_t* __restrict b) {
  uint32_t sum = 0;
  for (int32_t d = 0; d < kDescriptorWords; ++d) {
    const auto difference = static_cast<uint32_t>(WrapSub(a[d], b[d]) >> 8);
    sum += difference * difference;
  }
  return static_cast<int32_t>(sum);
}

int32_t SmallestOf(const int32_t* values, int32_t n) {
  int32_t smallest = kFar;
  for (int32_t i = 0; i < n; ++i) smallest = values[i] < smallest ? values[i] : smallest;
  return smallest;
}

/// Branches that wait, at most 2 n of n reference keypoints; used ones count. Keeps the minimum of every 16
/// entries, since a query takes some 40 branches out of several hundred.
class BranchQueue {
 public:
  /// capacity * 2 + capacity / 16 + 1 words of working memory.
  BranchQueue(int32_t capacity, int32_t* memory)
      : capacity_(capacity), nodes_(memory), distances_(memory + capacity), minima_(memory + 2 * capacity) {}

  void Clear() { count_ = 0; }

  void Push(int32_t node, int32_t distance) {
    if (count_ == capacity_) return;
    int32_t& minimum = minima_[count_ / kBlock];
    minimum = count_ % kBlock == 0 || distance < minimum ? distance : minimum;
    nodes_[count_] = node;
    distances_[count_++] = distance;
  }

  /// Takes the nearest entry out, the oldest of equal ones. False when there is none.
  bool Pop(int32_t* node, int32_t* distance) {
    const int32_t blocks = (count_ + kBlock - 1) / kBlock;
    *distance = SmallestOf(minima_, blocks);
    if (*distance == kFar) return false;
    int32_t block = 0;
    while (minima_[block] != *distance) ++block;
    const int32_t first = block * kBlock;
    int32_t entry = first;
    while (distances_[entry] != *distance) ++entry;
    *node = nodes_[entry];
    distances_[entry] = kFar;  // used
    minima_[block] = SmallestOf(distances_ + first, std::min(kBlock, count_ - first));
    return true;
  }

 private:
  static constexpr int32_t kBlock = 16;
  int32_t capacity_;
  int32_t* nodes_;
  int32_t* distances_;
  int32_t* minima_;
  int32_t count_ = 0;
};

/// Best-bin-first search of one query after the other (Beis and Lowe).
class ForestSearch {
 public:
  /// At most 5 n + 2 words of working memory for n reference descriptors.
  ForestSearch(const FeatureList& reference, const KdForest& forest, int32_t* memory)
      : descriptors_(reference.descriptors),
        forest_(forest),
        visited_words_((reference.count >> 5) + 1),
        visited_(reinterpret_cast<uint32_t*>(memory)),
        queue_(2 * reference.count, memory + visited_words_) {}

  void Find(const int32_t* query, NeighbourPair* result) {
    query_ = query;
    result_ = result;
    *result = {kFar, kFar, 0, 0, 0};
    queue_.Clear();
    checked_ = 0;
    std::fill_n(visited_, visited_words_, 0u);
    for (int32_t t = 0; t < kTreeCount; ++t) Descend(forest_.roots[t], 0);
    int32_t node, distance;
    while (checked_ < kLeafBudget && queue_.Pop(&node, &distance)) Descend(node, distance);
  }

 private:
  /// Down to a leaf, queueing the branches not taken. `distance` bounds the whole branch from below; it is on
  /// 1/128 of the leaves' scale, so the bound is lenient.
  void Descend(int32_t node_index, int32_t distance) {
    const KdNode* node = forest_.nodes + node_index;
    while (node->left != kNoNode) {
      const int32_t difference = WrapSub(query_[node->dimension_or_keypoint], node->pivot);
      const int32_t nearer = difference < 0 ? node->left : node->right;
      const int32_t further = difference < 0 ? node->right : node->left;
      const int64_t square = int64_t{difference} * difference;
      const int32_t bound = WrapAdd(distance, static_cast<int32_t>(square >> 23));
      if (bound < result_->second_distance) queue_.Push(further, bound);
      node = forest_.nodes + nearer;
    }
    Compare(node->dimension_or_keypoint);
  }

  void Compare(int32_t index) {
    uint32_t& word = visited_[index >> 5];
    const uint32_t bit = 1u << (index & 31);
    if ((word & bit) != 0 || checked_ == kLeafBudget) return;
    word |= bit;
    ++checked_;
    const int32_t distance =
        LeafDistance(query_, descriptors_ + static_cast<int64_t>(index) * kDescriptorWords);
    if (distance >= result_->second_distance) return;
    if (distance < result_->best_distance) {
      result_->second_distance = result_->best_distance;
      result_->second_index = result_->best_index;
      result_->best_distance = distance;
      result_->best_index = index;
    } else {
      result_->second_distance = distance;
      result_->second_index = index;
    }
  }

  const int32_t* descriptors_;
  KdForest forest_;
  int32_t visited_words_;
  uint32_t* visited_;  // one bit per reference keypoint
  BranchQueue queue_;
  const int32_t* query_ = nullptr;
  NeighbourPair* result_ = nullptr;
  int32_t checked_ = 0;
};

constexpr char kMallocFailed[] = "GETFEATURE_SURF: malloc failed!";

}  // namespace

int32_t BuildForest(const FeatureList& features, const KdForest& forest, const MfAllocHooks& hooks) {
  const uint64_t bytes = static_cast<uint64_t>(features.count) * sizeof(int32_t);
  const HookBlock block(bytes, kRegistrationPool, hooks);
  if (!block) {
    LogError("%s", kMallocFailed);
    return kNoMemory;
  }
  auto* indices = reinterpret_cast<int32_t*>(block.data());
  for (int32_t i = 0; i < features.count; ++i) indices[i] = i;
  MultiplyWithCarry random;
  TreeBuilder builder(features.descriptors, forest.nodes);
  for (int32_t t = 0; t < kTreeCount; ++t) {
    // Each tree shuffles the order that the one before left.
    for (int32_t i = 1; i < features.count; ++i) {
      const uint32_t j = random.Next(static_cast<uint32_t>(i) + 1);
      std::swap(indices[i], indices[j]);
    }
    forest.roots[t] = builder.Build(indices, features.count);
  }
  return kOk;
}

int32_t MatchDescriptors(const FeatureList& query, const FeatureList& reference, const KdForest& forest,
                         NeighbourPair* results, const MfAllocHooks& hooks) {
  const auto n = static_cast<uint64_t>(reference.count);
  const uint64_t block_size = ((n << 4) + ((n >> 5) << 2) + 20) * sizeof(int32_t);
  HookBlock blocks[kJobs];
  int32_t result = kOk;
  for (HookBlock& block : blocks) {
    block.Take(block_size, kRegistrationPool, hooks);
    if (block) continue;
    LogError("%s", kMallocFailed);
    result = kNoMemory;
  }
  if (result != kOk) return result;

  const int32_t per_job = query.count / kJobs;
  RunOnPool(RegistrationPool(), [&](int32_t job) {
    ForestSearch search(reference, forest, reinterpret_cast<int32_t*>(blocks[job].data()));
    const int32_t end = job == kJobs - 1 ? query.count : (job + 1) * per_job;
    for (int32_t i = job * per_job; i < end; ++i) {
      search.Find(query.descriptors + static_cast<int64_t>(i) * kDescriptorWords, results + i);
    }
  });
  return kOk;
}

}  // namespace zolt
