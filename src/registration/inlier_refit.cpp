#include "registration/inlier_refit.h"

#include "base/alloc_hooks.h"
#include "registration/homography.h"

namespace zolt {
namespace {

constexpr int kMostRounds = 3;

/// Room for both packed lists and to spare.
constexpr uint64_t RefitBufferSize(int32_t n) {
  return 60 * static_cast<uint64_t>(n) + 56;
}

int32_t PackMarked(const MatchSet& matches, const uint8_t* mask, Point* reference, Point* current) {
  int32_t count = 0;
  for (int32_t i = 0; i < matches.count; ++i) {
    if (mask[i] == 0) continue;
    reference[count] = matches.reference[i];
    current[count] = matches.current[i];
    ++count;
  }
  return count;
}

}  // namespace

InlierScore ScoreModel(const MatchSet& matches, const float* model, float limit, uint8_t* mask) {
  InlierScore score = {0, 0.0f};
  for (int32_t i = 0; i < matches.count; ++i) {
    const Point mapped = MapPoint(model, matches.reference[i]);
    const float dx = mapped.x - matches.current[i].x, dy = mapped.y - matches.current[i].y;
    const float error = dx * dx + dy * dy;
    // Not-a-number never agrees.
    const bool agrees = error <= limit;
    mask[i] = agrees ? 1 : 0;
    if (!agrees) continue;
    ++score.count;
    score.error += error;
  }
  return score;
}

int32_t RefitInliers(const MatchSet& matches, uint8_t* mask, float* model, float limit, InlierScore* score,
                     const MfAllocHooks& hooks) {
  const HookBlock block(RefitBufferSize(matches.count), kRegistrationPool, hooks);
  if (!block) return -1;
  auto* reference = reinterpret_cast<Point*>(block.data());
  Point* current = reference + matches.count;
  for (int round = 0; round < kMostRounds; ++round) {
    const int32_t marked = PackMarked(matches, mask, reference, current);
    if (SolveHomography(reference, current, marked, model, kFullJacobiLimit) != 0) break;
    const int32_t before = score->count;
    *score = ScoreModel(matches, model, limit, mask);
    if (score->count == before) break;
  }
  return 0;
}

}  // namespace zolt
