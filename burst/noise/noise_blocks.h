#pragma once

#include <cstdint>

#include "burst/alignment/alignment_motion.h"
#include "burst/memory/layer_vector.h"
#include "burst/picture/plane.h"

namespace zolt {

inline constexpr int kNoiseBlock = 16;

/// What a block tells. Variances in squared grey levels, of what a fitted plane leaves.
struct BlockNoise {
  float noise;       ///< of one frame
  float noise_half;  ///< of one frame reduced 2:1 by area
  float texture;     ///< of the mean of both frames, half of the noise included; of the frame itself if it is
                     ///< alone
  float level;       ///< mean grey level
};

/// Blocks of a plane against the same places of another, which shows them where `motion` tells, to whole
/// pixels; a regular sample of at most `limit` places. Blocks that leave the other plane are left out, and
/// with `unclipped` those with a pixel in fifty near black or white.
void CompareBlocks(PlaneView a, PlaneView b, const Homography& motion, int limit, bool unclipped,
                   LayerVector<BlockNoise>* out);

/// Blocks of one plane alone: what a fitted plane leaves is noise and texture in one.
void InspectBlocks(PlaneView a, int limit, bool unclipped, LayerVector<BlockNoise>* out);

}  // namespace zolt
