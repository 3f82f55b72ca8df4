#include "kernels/blur121.h"

#include <cassert>
#include <cstddef>

namespace zolt {
namespace {

/// One row; the destination is never the source here, as the rows go through the temporary.
void BlurAlongRow(const uint8_t* __restrict p, uint8_t* __restrict t, int w) {
  t[0] = static_cast<uint8_t>((3 * p[0] + p[1]) >> 2);
  for (int x = 1; x < w - 1; ++x) {
    const auto sides = static_cast<uint8_t>((p[x - 1] + p[x + 1] + 1) >> 1);
    t[x] = static_cast<uint8_t>((sides + p[x] + 1) >> 1);
  }
  t[w - 1] = static_cast<uint8_t>((p[w - 2] + 3 * p[w - 1]) >> 2);
}

/// `above` and `below` may be the same row, or the middle one at the first and last row.
void BlurAcrossRows(const uint8_t* above, const uint8_t* middle, const uint8_t* below,
                    uint8_t* __restrict out, int w) {
  for (int x = 0; x < w; ++x) {
    const auto sides = static_cast<uint8_t>((above[x] + below[x] + 1) >> 1);
    out[x] = static_cast<uint8_t>((sides + middle[x] + 1) >> 1);
  }
}

}  // namespace

void Blur121(const uint8_t* source, uint8_t* destination, uint8_t* temporary, int w, int h, int source_pitch,
             int destination_pitch, int temporary_pitch) {
  assert(w >= 2 && h >= 2);
  const ptrdiff_t step = temporary_pitch;
  for (int r = 0; r < h; ++r) {
    BlurAlongRow(source + static_cast<ptrdiff_t>(r) * source_pitch, temporary + r * step, w);
  }
  for (int r = 0; r < h; ++r) {
    const uint8_t* middle = temporary + r * step;
    const uint8_t* above = r > 0 ? middle - step : middle;
    const uint8_t* below = r < h - 1 ? middle + step : middle;
    BlurAcrossRows(above, middle, below, destination + static_cast<ptrdiff_t>(r) * destination_pitch, w);
  }
}

}  // namespace zolt
