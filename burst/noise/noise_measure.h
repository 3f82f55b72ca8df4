#pragma once

#include "burst/alignment/alignment_motion.h"
#include "burst/picture/plane.h"

namespace zolt {

/// The noise of one frame of a burst, in 8-bit grey levels.
struct NoiseMeasure {
  bool measured = false;      ///< false: nothing in the frames is large enough to measure by
  float luma_sigma = 0;       ///< at full size
  float luma_sigma_half = 0;  ///< after 2:1 reduction by area; half of luma_sigma if the noise is white
  float blotchiness = 0;      ///< 2 luma_sigma_half / luma_sigma: 1 white, near 2 coarse
  float chroma_sigma = 0;     ///< of U and V, root of the mean square, at the planes' own size
  float texture = 0;  ///< of the scene: its spatial standard deviation in the middle one of all blocks
};

/// One frame: luma, chroma (all of one size, or without data), and the motion that takes the first frame's
/// pixels to this one's.
struct NoiseFrame {
  PlaneView y, u, v;
  Homography motion;
};

/// Measures the noise of 1 to kMostMeasured frames of one exposure, the first of which the others are aligned
/// to (Identity for itself). Differences of blocks of 16 x 16 pixels moved by whole pixels, each less a
/// fitted plane, are noise where the scene is flat. How flat it is there is told by the mean of the two
/// blocks, which is uncorrelated with their difference, so that choosing by it favours no little noise. The
/// flattest tenth in each of 16 ranges of brightness counts, less what its texture contributes, as the next
/// flatter blocks tell. Clipped blocks are left out; what moves is none of the median's business. One frame
/// alone: what its flattest blocks hold, rough, and too much where all is textured. May throw std::bad_alloc.
NoiseMeasure MeasureNoise(const NoiseFrame* frames, int count);

inline constexpr int kMostMeasured = 4;

}  // namespace zolt
