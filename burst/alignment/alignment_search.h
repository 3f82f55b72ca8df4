#pragma once

#include "burst/alignment/alignment_motion.h"
#include "burst/alignment/pyramid.h"
#include "burst/memory/layer_vector.h"

namespace zolt {

/// A whole shift and the correlation that it gives, -1..1.
struct ShiftScore {
  int x, y;
  double correlation;
};

/// Tries every whole shift of the frame up to `reach_x` and `reach_y` pixels and returns those which
/// correlate best with the reference, local maxima only, best first, at most `count`. A shift has to leave
/// half of each side. For the smallest level of a pyramid, where every shift is few operations.
LayerVector<ShiftScore> SearchShifts(const GreyPlane& reference, const GreyPlane& frame, int reach_x,
                                     int reach_y, int count, int threads);

}  // namespace zolt
