#pragma once

#include "burst/noise/noise_measure.h"

namespace zolt {

/// The tuning's band for frame after frame of one shot. A measure of a few frames strays by some per cent; a
/// band that followed it would filter one frame more than the next, and the picture would flicker. So the
/// measures are averaged, and the band changes only once the mean is beyond its limit by more than they
/// stray.
class NoiseFollower {
 public:
  /// Another shot begins: what was measured says nothing of it.
  void Restart() { *this = NoiseFollower(); }

  /// The index of the band for a result of `merged` frames; `noise` was measured from `from` of them, or not
  /// at all. `fallback` serves while nothing has been measured.
  int Follow(const NoiseMeasure& noise, int from, int merged, int fallback);

 private:
  NoiseMeasure mean_;
  int count_ = 0;       ///< measures in the mean, as far as they weigh
  bool rough_ = false;  ///< they are of single frames
  int band_ = -1;
};

}  // namespace zolt
