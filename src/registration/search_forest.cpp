#include "registration/search_forest.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <limits>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/log.h"
#include "base/random.h"
#include "base/result_codes.h"
#include "base/vector_clones.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

constexpr int32_t kJobs = 4;
constexpr int32_t kMeanSample = 101;  // entries of a range that choose its dimension and pivot
constexpr int32_t kLeafBudget = 32;   // leaves that a query may compare
constexpr int32_t kFar = std::numeric_limits<int32_t>::max();

/// A part of a tree that is still to be built: its indices and the place of its root among the nodes. A tree
/// of n leaves takes n - 1 nodes, so each part knows its own.
struct Branch {
  int32_t* indices;
  int32_t count;
  int32_t root;

  /// What its parent, or the list of roots, holds.
  int32_t Link() const { return count == 1 ? ~indices[0] : root; }
};

struct Cut {
  int32_t dimension, pivot;
};

/// Words that are summed at a time: what registers hold.
constexpr int32_t kWordsAtOnce = 16;

/// Means of the first entries' words. Sums of 101 words within +-2^23 take 30 bits.
ZOLT_VECTOR_CLONES void MeansOf(const int32_t* __restrict descriptors, const int32_t* __restrict indices,
                                int32_t sampled, int32_t* __restrict mean) {
  for (int32_t first = 0; first < kDescriptorWords; first += kWordsAtOnce) {
    int32_t sum[kWordsAtOnce] = {};
    for (int32_t i = 0; i < sampled; ++i) {
      const int32_t* __restrict v = descriptors + static_cast<int64_t>(indices[i]) * kDescriptorWords + first;
      for (int32_t d = 0; d < kWordsAtOnce; ++d) sum[d] = WrapAdd(sum[d], v[d]);
    }
    // A quotient of 32 bits by at most 101 is a whole number or off it by a hundredth: what doubles round
    // does not change it, and they divide side by side.
    for (int32_t d = 0; d < kWordsAtOnce; ++d)
      mean[first + d] = static_cast<int32_t>(static_cast<double>(sum[d]) / static_cast<double>(sampled));
  }
}

/// Differences of words within +-2^25 are 16 bits once 12 are dropped, so that their square takes one
/// multiplication; 101 squares of words within +-2^23 take 31 bits.
ZOLT_VECTOR_CLONES void VariancesOf(const int32_t* __restrict descriptors, const int32_t* __restrict indices,
                                    int32_t sampled, const int32_t* __restrict mean,
                                    int32_t* __restrict variance) {
  for (int32_t first = 0; first < kDescriptorWords; first += kWordsAtOnce) {
    int32_t sum[kWordsAtOnce] = {};
    for (int32_t i = 0; i < sampled; ++i) {
      const int32_t* __restrict v = descriptors + static_cast<int64_t>(indices[i]) * kDescriptorWords + first;
      for (int32_t d = 0; d < kWordsAtOnce; ++d) {
        const auto difference = static_cast<int16_t>(WrapSub(v[d], mean[first + d]) >> 12);
        sum[d] = WrapAdd(sum[d], difference * difference);
      }
    }
    std::copy_n(sum, kWordsAtOnce, variance + first);
  }
}

/// Builds trees over ranges of an index array, in place.
class TreeBuilder {
 public:
  TreeBuilder(const int32_t* descriptors, KdNode* nodes) : descriptors_(descriptors), nodes_(nodes) {}

  /// Recurses into the smaller half only, so the depth is at most log2(count).
  void Build(Branch branch) const {
    Branch small;
    while (CutOff(&branch, &small)) Build(small);
  }

  /// Fills in the root. False if it is a leaf; else the larger half takes its place and `small` is the
  /// other one.
  bool CutOff(Branch* branch, Branch* small) const {
    const auto [indices, count, root] = *branch;
    if (count == 1) return false;
    const Cut cut = ChooseCut(indices, count);
    const int32_t split = Split(indices, count, cut);
    Branch left = {indices, split, 0}, right = {indices + split, count - split, 0};
    const bool left_is_smaller = left.count <= right.count;
    Branch& smaller = left_is_smaller ? left : right;
    Branch& larger = left_is_smaller ? right : left;
    smaller.root = root + 1;
    larger.root = root + smaller.count;
    nodes_[root] = {cut.dimension, cut.pivot, left.Link(), right.Link()};
    *small = smaller;
    *branch = larger;
    return true;
  }

 private:
  const int32_t* Descriptor(int32_t index) const {
    return descriptors_ + static_cast<int64_t>(index) * kDescriptorWords;
  }

  /// The dimension of largest variance among the first entries, and its mean.
  Cut ChooseCut(const int32_t* indices, int32_t count) const {
    const int32_t sampled = std::min(count, kMeanSample);
    int32_t mean[kDescriptorWords], variance[kDescriptorWords];
    MeansOf(descriptors_, indices, sampled, mean);
    VariancesOf(descriptors_, indices, sampled, mean, variance);
    // In two plain loops: one that remembers the place guesses wrong at every new largest.
    int32_t largest = variance[0];
    for (const int32_t v : variance) largest = std::max(largest, v);
    const auto widest =
        static_cast<int32_t>(std::find(variance, variance + kDescriptorWords, largest) - variance);
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
};

/// Its branches are built side by side, once there are enough of them to be shared evenly.
void BuildTree(const TreeBuilder& builder, Branch tree) {
  constexpr int32_t kBranches = 16;
  Branch branches[kBranches] = {tree};
  int32_t count = 1;
  const auto less = [](const Branch& a, const Branch& b) { return a.count < b.count; };
  while (count < kBranches &&
         builder.CutOff(std::max_element(branches, branches + count, less), &branches[count]))
    ++count;
  std::atomic<int32_t> next = 0;
  RunOnPool(RegistrationPool(), [&](int32_t) {
    for (int32_t i; (i = next.fetch_add(1, std::memory_order_relaxed)) < count;) builder.Build(branches[i]);
  });
}

/// Squared distance of two unit vectors, Q30. Vectors further apart than a right angle wrap.
int32_t LeafDistance(const int32_t* __restrict a, const int32_t* __restrict b) {
  uint32_t sum = 0;
  for (int32_t d = 0; d < kDescriptorWords; ++d) {
    const auto difference = static_cast<uint32_t>(WrapSub(a[d], b[d]) >> 8);
    sum += difference * difference;
  }
  return static_cast<int32_t>(sum);
}

/// Branches that wait, at most 2 n of n reference keypoints; taken ones count. A query takes some 40 of 170,
/// so they are sorted only roughly: four bins to an octave of the distance, the nearest looked for in the
/// first bin that holds any, one or two branches as a rule.
class BranchQueue {
 public:
  /// 2 * capacity words of working memory.
  BranchQueue(int32_t capacity, int32_t* memory)
      : capacity_(capacity), entries_(reinterpret_cast<Entry*>(memory)) {}

  void Clear() {
    count_ = 0;
    filled_ = 0;
    std::fill_n(newest_, kBins, kNone);
  }

  void Push(int32_t node, int32_t distance) {
    if (count_ == capacity_) return;
    const int32_t bin = BinOf(distance);
    entries_[count_] = {distance, static_cast<int16_t>(node), newest_[bin]};
    newest_[bin] = static_cast<int16_t>(count_++);
    filled_ |= uint64_t{1} << bin;
  }

  /// Takes the nearest entry out, the oldest of equal ones. False when there is none.
  bool Pop(int32_t* node, int32_t* distance) {
    if (filled_ == 0) return false;
    const int32_t bin = std::countr_zero(filled_);
    // A bin is a chain from its newest entry to its oldest.
    int16_t* nearest = &newest_[bin];
    *distance = entries_[*nearest].distance;
    for (int16_t* link = &entries_[*nearest].older; *link != kNone; link = &entries_[*link].older) {
      const int32_t other = entries_[*link].distance;
      nearest = other <= *distance ? link : nearest;
      *distance = other <= *distance ? other : *distance;
    }
    const Entry& taken = entries_[*nearest];
    *node = taken.node;
    *nearest = taken.older;
    if (newest_[bin] == kNone) filled_ &= filled_ - 1;
    return true;
  }

 private:
  struct Entry {
    int32_t distance;
    int16_t node;
    int16_t older;  ///< of the same bin
  };
  static_assert(sizeof(Entry) == 2 * sizeof(int32_t));
  static_assert(kTreeCount * kKeypointCapacity <= std::numeric_limits<int16_t>::max());
  static constexpr int16_t kNone = -1;
  static constexpr int32_t kBins = 64;
  static constexpr int32_t kFirstOctave = 5;

  /// A float's exponent and its first two fraction bits never fall as the distance grows. The first bin takes
  /// what lies below 2^5, the last what lies beyond 2^21.
  static int32_t BinOf(int32_t distance) {
    const auto bits = std::bit_cast<int32_t>(static_cast<float>(distance));
    return Clamp((bits >> 21) - ((127 + kFirstOctave) << 2), 0, kBins - 1);
  }

  int32_t capacity_;
  Entry* entries_;
  int32_t count_ = 0;
  uint64_t filled_ = 0;  ///< a bit for each bin
  int16_t newest_[kBins];
};

/// Best-bin-first search of one query after the other (Beis and Lowe).
class ForestSearch {
 public:
  /// At most 5 n + 1 words of working memory for n reference descriptors.
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
  void Descend(int32_t link, int32_t distance) {
    const int32_t limit = result_->second_distance;
    while (link >= 0) {
      const KdNode node = forest_.nodes[link];
      // Both ways, before it is known which is taken.
      __builtin_prefetch(forest_.nodes + std::max(node.left, 0));
      __builtin_prefetch(forest_.nodes + std::max(node.right, 0));
      const int32_t difference = WrapSub(query_[node.dimension], node.pivot);
      const int64_t square = int64_t{difference} * difference;
      const int32_t bound = WrapAdd(distance, static_cast<int32_t>(square >> 23));
      // Which side is nearer is as good as random: a mask instead of a jump that is guessed wrong half the
      // time.
      const int32_t exchange = (node.left ^ node.right) & (difference >> 31);
      link = node.right ^ exchange;
      if (bound < limit) queue_.Push(node.left ^ exchange, bound);
    }
    Compare(~link);
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

ZOLT_VECTOR_CLONES void FindAll(const FeatureList& reference, const KdForest& forest, int32_t* memory,
                                const int32_t* queries, int32_t count, NeighbourPair* results) {
  ForestSearch search(reference, forest, memory);
  for (int32_t i = 0; i < count; ++i)
    search.Find(queries + static_cast<int64_t>(i) * kDescriptorWords, results + i);
}

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
  const TreeBuilder builder(features.descriptors, forest.nodes);
  for (int32_t t = 0; t < kTreeCount; ++t) {
    // Each tree shuffles the order that the one before left.
    for (int32_t i = 1; i < features.count; ++i) {
      const uint32_t j = random.Next(static_cast<uint32_t>(i) + 1);
      std::swap(indices[i], indices[j]);
    }
    const Branch tree = {indices, features.count, t * (features.count - 1)};
    forest.roots[t] = tree.Link();
    BuildTree(builder, tree);
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
    const int32_t first = job * per_job, end = job == kJobs - 1 ? query.count : first + per_job;
    FindAll(reference, forest, reinterpret_cast<int32_t*>(blocks[job].data()),
            query.descriptors + static_cast<int64_t>(first) * kDescriptorWords, end - first, results + first);
  });
  return kOk;
}

}  // namespace zolt
