#include "noise/luma_gain.h"

#include <cstddef>

#include "base/arithmetic.h"

namespace zolt {
namespace {

void ScaleLuma(uint8_t* __restrict plane, size_t count, uint16_t gain) {
  for (size_t i = 0; i < count; ++i) {
    const auto v = static_cast<uint16_t>(static_cast<uint16_t>(plane[i] * gain + 8) >> 4);
    plane[i] = static_cast<uint8_t>(v < 255 ? v : 255);
  }
}

void ScaleChroma(uint8_t* __restrict plane, size_t count, int16_t gain) {
  for (size_t i = 0; i < count; ++i) {
    const auto scaled = static_cast<int16_t>((plane[i] - 128) * gain + 8);
    plane[i] = SaturateU8((scaled >> 4) + 128);
  }
}

}  // namespace

void LumaEnhance(const YuvImage& planes, int32_t width, int32_t height, uint8_t gain, uint8_t chroma_gain) {
  const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
  ScaleLuma(planes.y, luma, gain);
  ScaleChroma(planes.u, luma / 4, chroma_gain);
  ScaleChroma(planes.v, luma / 4, chroma_gain);
}

}  // namespace zolt
