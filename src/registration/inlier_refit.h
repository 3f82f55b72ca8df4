#pragma once

#include <cstdint>

#include "registration/match_set.h"
#include "zolt_mfdenoise.h"

namespace zolt {

/// How well a model explains a list of pairs.
struct InlierScore {
  int32_t count;  ///< pairs within the limit
  float error;    ///< sum of their squared distances, accumulated in f32 in list order
};

/// Maps all reference points with `model` and marks with 1 in `mask`, one byte a pair, those whose squared
/// distance to the current point is at most `limit`, the others with 0.
InlierScore ScoreModel(const MatchSet& matches, const float* model, float limit, uint8_t* mask);

/// Replaces `model`, `mask` and `score` by those of the least-squares model of the marked pairs, up to three
/// times, until their number stays. Takes 60 * n + 56 bytes through `hooks` for the call.
/// 0; -1 and nothing changed when the hook refuses.
int32_t RefitInliers(const MatchSet& matches, uint8_t* mask, float* model, float limit, InlierScore* score,
                     const MfAllocHooks& hooks);

}  // namespace zolt
