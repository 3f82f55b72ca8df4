#pragma once

#include <cstdint>

#include "base/yuv_image.h"

namespace zolt {

/// A copy of an image with both sides rounded up to 16, which is what the spatial stages and the fusion work
/// on: over one block, Y, U, V and, behind them, a plane of weights, all at pitch = padded width.
struct PaddedCopy {
  YuvImage image;
  uint8_t* weights;
};

/// Bytes of the block: 5/2 of the padded pixels.
uint64_t PaddedCopySize(int32_t width, int32_t height);

/// Copies `image` (pitch = width) into `block`, rows extended by reflection with the edge pixel repeated
/// once, and `weights` (width x height) with 0 in the new columns. New rows copy the whole last row.
PaddedCopy MakePaddedCopy(uint8_t* block, const YuvImage& image, const uint8_t* weights);

/// Copies `image` (pitch = width) into `block`, rows extended with their own last pixel; no weights.
YuvImage MakeExtendedCopy(uint8_t* block, const YuvImage& image);

/// The upper left part of `padded` back into `image` (pitch = width).
void CropTo(const YuvImage& image, const YuvImage& padded);

}  // namespace zolt
