#pragma once

#include <cstdint>

#include "registration/feature_list.h"
#include "zolt_mfdenoise.h"

namespace zolt {

/// One inner node of a search tree; leaves have none, so that a descent ends one memory access earlier.
/// Indices instead of pointers, so that stored trees have one layout on 32- and 64-bit processors.
struct KdNode {
  int32_t dimension;    ///< descriptor word that is compared
  int32_t pivot;        ///< smaller values go left
  int32_t left, right;  ///< index into KdForest::nodes, or ~keypoint index: a leaf
};
inline constexpr int32_t kTreeCount = 4;

/// Four randomised k-d trees over the descriptors of one FeatureList, after Silpa-Anan and Hartley,
/// "Optimised KD-trees for fast image descriptor matching". A view: nodes and roots lie in memory of somebody
/// else.
struct KdForest {
  KdNode* nodes;   ///< kTreeCount * (count - 1) nodes
  int32_t* roots;  ///< kTreeCount of them, told as a node's children are
};

/// The two nearest reference descriptors of one query: squared distances (Q30 of unit vectors, modulo 2^32 as
/// signed words) and indices into the reference list. A slot that found nothing holds 0x7FFFFFFF and index 0.
struct NeighbourPair {
  int32_t best_distance, second_distance;
  int32_t best_index, second_index;
  int32_t reserved;
};
static_assert(sizeof(NeighbourPair) == 20);

/// Builds the forest over `features`, count >= 1, words within +-2^25. Deterministic: one generator with a
/// fixed seed serves all trees. Runs on RegistrationPool(), which the caller has started. 0, or -1000 with a
/// log line when the hook refuses the index array.
int32_t BuildForest(const FeatureList& features, const KdForest& forest, const MfAllocHooks& hooks);

/// Finds the two approximate nearest neighbours of every query, visiting at most 32 leaves for each.
/// `results` has query.count entries; reference.count in [1, kKeypointCapacity]. Runs four jobs on
/// RegistrationPool(), which the caller has started. 0, or -1000 with a log line when the hook refuses a
/// job's working memory.
int32_t MatchDescriptors(const FeatureList& query, const FeatureList& reference, const KdForest& forest,
                         NeighbourPair* results, const MfAllocHooks& hooks);

}  // namespace zolt
