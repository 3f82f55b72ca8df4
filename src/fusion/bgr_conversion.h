#pragma once

#include <cstdint>

#include "fusion/plane_set.h"

namespace zolt {

/// YUV 4:2:0 to planar B, G, R in 6-bit fixed point with the chroma bias at 127, u' = u - 127, v' = v - 127,
/// one chroma pair per 2 x 2 block without interpolation:
///   B = clip8((64 y + 114 u' + 32) >> 6), G = clip8((64 y - 46 v' - 22 u' + 32) >> 6), R = clip8((64 y + 90
///   v' + 32) >> 6)
/// All sums lie in -14478..30944: 16 bits. w and h are the luma's, even; pitch = width. Workers take rows
/// [first, first + rows), both even.
void YuvToBgr(const PlaneSet& yuv, const PlaneSet& bgr, int w, int first, int rows);

/// Back: Y = (7 B + 38 G + 19 R + 32) >> 6 for every pixel; chroma from the pixel at even row and column
/// alone, U = clip8((36 (B - Y) + 8160) >> 6), V = clip8((46 (R - Y) + 8160) >> 6). Same ranges of rows.
void BgrToYuv(const PlaneSet& bgr, const PlaneSet& yuv, int w, int first, int rows);

}  // namespace zolt
