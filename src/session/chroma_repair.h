#pragma once

#include <cstdint>

#include "base/yuv_image.h"

namespace zolt {

/// Puts chroma from before the filters back where luma is near white, so that bright highlights take no
/// colour from their surroundings: c = (a s + (128 - a) c) >> 7 with s the pixel of `snapshot` (U, then V,
/// each width * height / 4 bytes) and a = RestoreLUT of the luma at (2x, 2y). Products are at most 32640:
/// 16 bits.
void RepairHighlightChroma(const YuvImage& image, const uint8_t* snapshot);

/// Share of the old chroma, of 128: 0 up to luma 239, then 8, 16, ... 128 at luma 255.
constexpr uint8_t RestoreLUT(uint8_t luma) {
  return static_cast<uint8_t>(luma < 240 ? 0 : (luma - 239) * 8);
}

}  // namespace zolt
