#pragma once

#include <cstdint>

#include "registration/match_set.h"
#include "zolt_mfdenoise.h"

namespace zolt {

struct FeatureList;
struct KdForest;

/// First guess of the motion between two images, in pixels of the image that the features were found in.
/// Pairs each current keypoint with its nearest reference descriptor if that is nearer than `match_ratio`
/// times the second nearest (Lowe's ratio test), in the order of the current list, then keeps the pairs that
/// a robust homography agrees with (RansacHomography, squared distance limit 9). `forest` indexes
/// `reference`. Fills both lists, count and, where a fit was found, homography of `matches`. 0: pairs are
/// there, though not all need agree; 3: fewer than 5 pass the ratio test; -1000: no memory.
int32_t MatchCoarse(const FeatureList& reference, const FeatureList& current, const KdForest& forest,
                    MatchSet* matches, float match_ratio, const MfAllocHooks& hooks);

/// Final motion, in pixels of the full image: multiplies all points by `scale`, exchanges the two lists if
/// `flagE` (so that the homography maps current to reference), fits once more with the squared distance
/// limit 15 and solves the survivors by least squares into the set's homography.
/// 0: done; 3: 4 or fewer pairs survive; -1000: no memory.
int32_t MatchFine(int32_t scale, MatchSet* matches, bool flagE, const MfAllocHooks& hooks);

}  // namespace zolt
