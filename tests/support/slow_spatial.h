#pragma once

#include "base/yuv_image.h"
#include "noise/nr_stage_context.h"

namespace zolt::test {

/// Both spatial stages once more: stripe after stripe on one thread, every kernel as plain loops over whole
/// planes of ints, nothing shared with the library but the boost tables. Every stripe reads the image as it
/// was. Filters `image` in place; sides are multiples of 16 from 256 up.
void SlowSpatialStage(const NrParameters& nr, bool low_level, const YuvImage& image);

}  // namespace zolt::test
