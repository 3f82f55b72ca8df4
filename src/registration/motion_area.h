#pragma once

#include <cstdint>

namespace zolt {

/// The part of a reference frame of w x h pixels that a frame moved by `homography` (row-major, h8 = 1,
/// reference to frame) still covers: x, y, width, height into motionRect, x and y even, width and height
/// multiples of 8, and each corner mapped into the frame less its last row and column. Any nine floats are
/// safe input. 0: motionRect is written; 3, with an info line that tells why: the homography is no camera
/// motion, more than 300 rows or columns are lost, or half of the width or height or less is left.
int32_t MotionArea(const float* homography, int32_t w, int32_t h, int32_t* motionRect);

}  // namespace zolt
