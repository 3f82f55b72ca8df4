#pragma once

#include "burst/picture/plane.h"

namespace zolt {

/// The index in 0..n-1 that index i shows when a line of n samples is mirrored at both ends again and again,
/// the end samples not repeated: -1 shows 1, n shows n - 2. n is at least 1.
int MirroredIndex(int i, int n);

/// Fills what lies around the inner part of `plane` (columns left..left+width-1, rows top..top+height-1) with
/// the inner part's mirror image, so that a filter near the edge meets pixels like those inside.
void MirrorAround(const MutablePlane& plane, int left, int top, int width, int height);

}  // namespace zolt
