#pragma once

#include <cstdint>

#include "base/yuv_image.h"

namespace zolt {

/// Floats that WarpFrame's column table holds for a rectangle of this width.
constexpr int32_t WarpColumns(int32_t rect_width) {
  return rect_width / 2;
}

/// Resamples `current` on the grid of the reference: the pixels of `motionRect` (x, y, width, height; x and y
/// even, width and height multiples of 8, inside the frame) in `aligned` are read at the homography's image
/// of their positions, luma bilinear with 7-bit fractions and one position for each 2 x 2 block, chroma from
/// the nearest sample. Positions outside the frame read its edge; any nine floats are safe input.
/// Both images have the same even width and height, pitch = width, and don't overlap.
/// planeCount 2: chroma planes at u and v; outside the rectangle `aligned` is mirrored from the inside. Any
/// other value: one plane of interleaved pairs at u; outside the rectangle `aligned` is a copy of `current`.
/// `column_table` is scratch of WarpColumns(motionRect[2]) floats, 4-byte aligned. Runs on four threads,
/// or on the caller's when they can't be started. Always 0.
int32_t WarpFrame(const YuvImage& current, const YuvImage& aligned, const float* homography,
                  const int32_t* motionRect, float* column_table, int32_t planeCount);

}  // namespace zolt
