#pragma once

#include <cstddef>
#include <cstdint>

namespace zolt {

/// Binary masks at one bit a pixel, and their morphology by word operations. Bit k of word i of a row is
/// column 32 i + k; rows have BitMaskWords(w) words, and the bits behind column w - 1 are 0 whenever a
/// function returns. Bit planes are aligned to 4 bytes.

/// 32-bit words to a row of w pixels.
constexpr int BitMaskWords(int w) {
  return (w + 31) / 32;
}

/// Words in a whole bit plane.
constexpr size_t BitMaskPlaneWords(int w, int h) {
  return static_cast<size_t>(BitMaskWords(w)) * static_cast<size_t>(h);
}

/// Bytes to bits: any nonzero byte is a set bit. The byte plane has pitch w.
void PackBitMask(const uint8_t* plane, int w, int h, uint32_t* bits);

/// Bits to bytes: 255 for a set bit, 0 otherwise. The byte plane has pitch w.
void UnpackBitMask(const uint32_t* bits, int w, int h, uint8_t* plane);

/// Dilation with a square window of 2 * Radius + 1, cut at the frame's borders. In place; `other` is a second
/// plane of the same size. Radius 3 or 7.
template <int Radius>
void DilateBitMask(uint32_t* bits, uint32_t* other, int w, int h);

/// Erosion with a square window of 2 * Radius + 1: pixels outside the frame count as set. In place; `other`
/// is a second plane of the same size. Radius 3.
template <int Radius>
void ErodeBitMask(uint32_t* bits, uint32_t* other, int w, int h);

extern template void DilateBitMask<3>(uint32_t*, uint32_t*, int, int);
extern template void DilateBitMask<7>(uint32_t*, uint32_t*, int, int);
extern template void ErodeBitMask<3>(uint32_t*, uint32_t*, int, int);

}  // namespace zolt
