#include "registration/matching.h"

#include <utility>

#include "base/alloc_hooks.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "registration/feature_list.h"
#include "registration/homography.h"
#include "registration/robust_fit.h"
#include "registration/search_forest.h"

namespace zolt {
namespace {

constexpr int32_t kFewestMatches = 5;
constexpr float kQ8 = 0.00390625f;

int32_t OutOfMemory() {
  LogError("GETFEATURE_SURF: malloc failed!");
  return kNoMemory;
}

Point Position(const KeyPoint& keypoint) {
  return {static_cast<float>(keypoint.x) * kQ8, static_cast<float>(keypoint.y) * kQ8};
}

/// The ratio squared, since the distances are: multiplied one after the other, each product in f32.
bool Distinct(const NeighbourPair& neighbours, float match_ratio) {
  const auto best = static_cast<float>(neighbours.best_distance);
  const auto second = static_cast<float>(neighbours.second_distance);
  return best < second * match_ratio * match_ratio;
}

void CollectPairs(const FeatureList& reference, const FeatureList& current, const NeighbourPair* neighbours,
                  float match_ratio, MatchSet* matches) {
  int32_t count = 0;
  for (int32_t i = 0; i < current.count; ++i) {
    if (!Distinct(neighbours[i], match_ratio)) continue;
    matches->reference[count] = Position(reference.keypoints[neighbours[i].best_index]);
    matches->current[count] = Position(current.keypoints[i]);
    ++count;
  }
  matches->count = count;
}

void Scale(Point* points, int32_t count, float scale) {
  for (int32_t i = 0; i < count; ++i) {
    points[i].x *= scale;
    points[i].y *= scale;
  }
}

}  // namespace

int32_t MatchCoarse(const FeatureList& reference, const FeatureList& current, const KdForest& forest,
                    MatchSet* matches, float match_ratio, const MfAllocHooks& hooks) {
  HookBlock block(sizeof(NeighbourPair) * static_cast<uint64_t>(current.count), kRegistrationPool, hooks);
  if (!block) return OutOfMemory();
  auto* neighbours = reinterpret_cast<NeighbourPair*>(block.data());
  const int32_t result = MatchDescriptors(current, reference, forest, neighbours, hooks);
  if (result != 0) return result;
  CollectPairs(reference, current, neighbours, match_ratio, matches);
  if (matches->count < kFewestMatches) return kNotAligned;
  block.Release();
  const HookBlock buffer(RansacBufferSize(matches->count), kRegistrationPool, hooks);
  if (!buffer) return OutOfMemory();
  // Whether a model was found shows in the fine stage: all pairs go there if not.
  RansacHomography(matches, matches->homography, kCoarseControl, buffer.data(), hooks);
  return 0;
}

int32_t MatchFine(int32_t scale, MatchSet* matches, bool flagE, const MfAllocHooks& hooks) {
  const HookBlock buffer(RansacBufferSize(matches->count), kRegistrationPool, hooks);
  if (!buffer) return OutOfMemory();
  Scale(matches->reference, matches->count, static_cast<float>(scale));
  Scale(matches->current, matches->count, static_cast<float>(scale));
  if (flagE) std::swap(matches->reference, matches->current);
  // When no sample can be drawn all pairs stay, and the solution below is made of all of them.
  RansacHomography(matches, matches->homography, kFineControl, buffer.data(), hooks);
  if (matches->count < kFewestMatches) {
    LogInfo("GETFEATURE_SURF: not enough keypoints!");
    return kNotAligned;
  }
  return SolveHomography(matches->reference, matches->current, matches->count, matches->homography,
                         kFullJacobiLimit);
}

}  // namespace zolt
