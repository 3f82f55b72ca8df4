#pragma once

#include <memory_resource>

#include "burst/fine/block_transform.h"
#include "burst/picture/plane.h"

namespace zolt {

/// How the noise of one frame spreads over frequencies and brightness: the variance of coefficient k of a
/// block of mean level v is power[k] * level_variance[v / 16], white noise of sigma 1 having power 1.
struct NoiseSpectrum {
  static constexpr int kLevels = 16;

  bool known = false;
  float power[kBlockSize];        ///< mean over all but the first: 1
  float level_variance[kLevels];  ///< squared grey levels

  float VarianceAt(float level) const;
};

/// Measured from a frame and its burst's merge, where they differ by noise alone: in the blocks of each range
/// of brightness in which the merge is flattest, medians over blocks. `weights` (25 a frame, as the merge
/// counts) tells how many frames lie in a pixel; only places with all `frames` count. Planes have one size.
NoiseSpectrum MeasureSpectrum(PlaneView frame, PlaneView merge, PlaneView weights, int frames,
                              std::pmr::memory_resource* memory);

}  // namespace zolt
