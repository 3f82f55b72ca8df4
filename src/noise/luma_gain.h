#pragma once

#include <cstdint>

#include "base/yuv_image.h"

namespace zolt {

/// Lifts a dark image in place by a plain gain, chroma about its neutral point. Gains in units of 1/16:
///   y = sat8((y gain + 8) >> 4), c = sat8((((c - 128) chroma_gain + 8) >> 4) + 128).
/// Sums are within 16 bits. Planes are contiguous: pitch = width.
void LumaEnhance(const YuvImage& planes, int32_t width, int32_t height, uint8_t gain, uint8_t chroma_gain);

}  // namespace zolt
