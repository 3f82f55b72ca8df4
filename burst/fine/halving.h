#pragma once

#include "burst/picture/plane.h"

namespace zolt {

/// out = the mean of each 2 x 2 pixels of `from`, (sum + 2) >> 2; sides of `out` are half of those of `from`,
/// rounded up, and a missing pixel is its neighbour's.
void HalvePlane(PlaneView from, const MutablePlane& out);

/// plane += what `after` has beyond `before`, planes of half the size (rounded up) whose samples lie in the
/// middle of four, interpolated; clamped to bytes.
void AddEnlarged(PlaneView before, PlaneView after, const MutablePlane& plane);

}  // namespace zolt
