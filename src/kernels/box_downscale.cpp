#include "kernels/box_downscale.h"

#include <cstring>

#include "base/vector_clones.h"

namespace zolt {
namespace {

/// Four neighbouring pixels as two 16-bit sums in one word, on either byte order.
inline uint32_t FourAsPairs(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return (v & 0x00FF00FFu) + ((v >> 8) & 0x00FF00FFu);
}

}  // namespace

ZOLT_VECTOR_CLONES void Box2Down(const uint8_t* source, int source_pitch, uint8_t* destination, int w,
                                 int h) {
  const int columns = w / 2;
  for (int r = 0; r < h / 2; ++r) {
    const uint8_t* __restrict upper = source + static_cast<int64_t>(2 * r) * source_pitch;
    const uint8_t* __restrict lower = upper + source_pitch;
    uint8_t* __restrict out = destination + static_cast<int64_t>(r) * columns;
    for (int x = 0; x < columns; ++x) {
      const int top = (upper[2 * x] + upper[2 * x + 1] + 1) >> 1;
      const int bottom = (lower[2 * x] + lower[2 * x + 1] + 1) >> 1;
      out[x] = static_cast<uint8_t>((top + bottom + 1) >> 1);
    }
  }
}

ZOLT_VECTOR_CLONES void Box4Down(const uint8_t* source, int h, int w, uint8_t* destination) {
  const int columns = w / 4;
  for (int r = 0; r < h / 4; ++r) {
    const uint8_t* __restrict row = source + static_cast<int64_t>(4 * r) * w;
    uint8_t* __restrict out = destination + static_cast<int64_t>(r) * columns;
    for (int x = 0; x < columns; ++x) {
      // Four pixels to a 32-bit lane, added in pairs without leaving it: bytes apart would have to be
      // shuffled.
      uint32_t pairs = FourAsPairs(row + 4 * x) + FourAsPairs(row + w + 4 * x);
      pairs += FourAsPairs(row + 2 * static_cast<int64_t>(w) + 4 * x);
      pairs += FourAsPairs(row + 3 * static_cast<int64_t>(w) + 4 * x);
      out[x] = static_cast<uint8_t>(((pairs & 0xFFFF) + (pairs >> 16) + 8) >> 4);
    }
  }
}

}  // namespace zolt
