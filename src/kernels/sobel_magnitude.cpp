#include "kernels/sobel_magnitude.h"

#include <cstring>

#include "base/vector_clones.h"

namespace zolt {
namespace {

inline int16_t Magnitude(int16_t v) {
  return static_cast<int16_t>(v < 0 ? -v : v);
}

/// Columns 1..w - 2 of a row between the rows above and below. Every term fits 16 bits, so lanes stay narrow.
void SobelRow(const uint8_t* above, const uint8_t* row, const uint8_t* below, uint8_t* __restrict out,
              int w) {
  for (int x = 1; x < w - 1; ++x) {
    const auto gx = static_cast<int16_t>((above[x + 1] - above[x - 1]) + 2 * (row[x + 1] - row[x - 1]) +
                                         (below[x + 1] - below[x - 1]));
    const auto gy = static_cast<int16_t>((below[x - 1] - above[x - 1]) + 2 * (below[x] - above[x]) +
                                         (below[x + 1] - above[x + 1]));
    const auto sum = static_cast<int16_t>(Magnitude(gx) + Magnitude(gy));
    out[x] = static_cast<uint8_t>(sum > 255 ? 255 : sum);
  }
}

}  // namespace

ZOLT_VECTOR_CLONES void SobelMagnitudeRows(const uint8_t* source, uint8_t* destination, int w, int h,
                                           int source_pitch, int destination_pitch, int first, int last) {
  for (int y = first; y < last; ++y) {
    const uint8_t* row = source + static_cast<int64_t>(y) * source_pitch;
    uint8_t* out = destination + static_cast<int64_t>(y - first) * destination_pitch;
    if (y == 0 || y == h - 1) {
      std::memset(out, 0, static_cast<size_t>(w));
      continue;
    }
    SobelRow(row - source_pitch, row, row + source_pitch, out, w);
    out[0] = 0;
    out[w - 1] = 0;
  }
}

void SobelMagnitude(const uint8_t* source, uint8_t* destination, int w, int h, int source_pitch,
                    int destination_pitch) {
  SobelMagnitudeRows(source, destination, w, h, source_pitch, destination_pitch, 0, h);
}

}  // namespace zolt
