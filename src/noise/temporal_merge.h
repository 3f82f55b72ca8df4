#pragma once

#include <cstdint>

#include "noise/nr_stage_context.h"

namespace zolt {

/// Folds the aligned frame (images[1]) into the running reference (images[0]) with a fixed-point first-order
/// recursive filter, out = (w A + (256 - w) T + 128) >> 8, held back where the ghost map says that the scene
/// moved, and writes the planes of `output` (pitch = width, width at least 16; each is the reference's own
/// plane or doesn't overlap it). Counts the fold per pixel in weightMap and, on success, in *iirImgNum. Four
/// plain threads, height / 4 rows each. 0, or -997 with the image partly folded.
int32_t TemporalNrMaincall(const NrStageContext& context, const YuvImage& output);

/// The planes of a fold, pitch = width, chroma half of it in both directions: `out` = a mixed with b.
struct FoldPlanes {
  YuvImage out;
  YuvImage a;           ///< running reference
  YuvImage b;           ///< aligned frame
  const uint8_t* mask;  ///< 0 takes b, 255 keeps a
};

/// The fold of one stripe, rows / 2 pairs of rows. Per pixel, with a mask value m and the reference's share
/// w,
///   t   = ((256 - m) b + m a + 128) >> 8
///   out = (w a + (-w & 255) t + 128) >> 8
///   map = (map & m) | ((map + 25) & ~m), modulo 256: the mask selects bit by bit
/// Sums are at most 65408: 16-bit lanes. A chroma pixel's m is (h0 + h1 + 1) >> 1 with h the truncated mean
/// of the two rows' masks in a column. Blocks of 16 luma and 8 chroma columns by the last-overlapping-block
/// rule: the overlap is counted twice, and mixed twice where `out` is `a`. `map` has pitch = width, like all
/// planes.
void FoldRows(const FoldPlanes& planes, uint8_t* map, int32_t width, int32_t rows, uint8_t w);

}  // namespace zolt
