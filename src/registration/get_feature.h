#pragma once

#include <cstdint>

#include "registration/match_set.h"
#include "registration/registration.h"
#include "registration/registration_arena.h"

namespace zolt {

/// What the sensitivity selects: noisier frames ask for stronger blobs and clearer matches.
struct SurfParams {
  float hessianDet;  ///< detection threshold, grey values squared
  float matchRatio;  ///< of the ratio test between the two nearest descriptors
};
SurfParams SurfParamsFor(int32_t iso);

/// From two frames to a homography: finds the reference's features on an isFirstFrame call (kept in `arena`),
/// the current frame's on every call, matches them and fits `matches`, whose lists and level bytes the caller
/// has set. `work` is WorkNeed bytes at a 4-byte aligned address. Starts and stops RegistrationPool(). The
/// request's hooks are set. With flagB at scale 1 the input's luma itself is remapped.
/// 0: matches->homography is set; 3, with an info line: too few keypoints or matches; -997: the pool did not
/// start, told on standard output; -1000: no memory.
int32_t GetFeature(const RegistrationInput& request, const RegArena& arena, uint8_t* work, MatchSet* matches);

}  // namespace zolt
