#pragma once

#include <cstdint>

namespace zolt {

/// What every row pair of a warp shares. Planes have pitch = width, chroma planes half of both sides.
struct WarpGeometry {
  float homography[9];   ///< row-major, h8 = 1: output pixel to source pixel
  int32_t width;         ///< of source and output, even
  int32_t height;        ///< even
  int32_t first_column;  ///< of the output rectangle, even
  int32_t groups;        ///< of eight output columns
  const float* columns;  ///< 4 * groups: first_column, first_column + 2, ...
};

/// A source plane and where one or two rows of the rectangle's part of the output begin.
struct WarpPlane {
  const uint8_t* source;
  uint8_t* out;
};

/// Rows y and y + 1 of the rectangle's luma, and for each 2 x 2 block of it the nearest chroma sample into
/// the row y / 2 of `chroma`: chroma_count planes of one byte a sample (2), or one of two bytes (1).
///
/// A block at column c is read at X = ((h0 c + h1 y) + h2) r, Y alike, r = 1 / den taken once for eight
/// columns, den from (h6 first_column + h7 y) + 1 on by 8 h6 a group, all in f32. With (ix, iy) the
/// truncated position and (fx, fy) its 7-bit fractions, 0..127 or, between 0 and -1, negative:
///   t = (a (128 - fx) + b fx + 32) >> 6          at most 510
///   out = (t (128 - fy) + u fy + 128) >> 8       sum at most 65408: 16 bits when fx, fy >= 0
/// where t belongs to the upper and u to the lower row of the pixel's four samples. Samples outside the
/// source are those of its nearest edge pixel. Chroma is read at ((ix + 1) >> 1, (iy + 1) >> 1).
void WarpRowPair(const WarpGeometry& geometry, int32_t y, const WarpPlane& luma, const WarpPlane* chroma,
                 int32_t chroma_count);

}  // namespace zolt
