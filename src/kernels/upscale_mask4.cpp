#include "kernels/upscale_mask4.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

namespace zolt {
namespace {

/// Output p of the four at sample a on the rim, b the sample after it.
uint8_t RimPixel(int a, int b, int p) {
  return static_cast<uint8_t>(((4 - p) * a + p * b) >> 2);
}

/// An output row of the rim, from the mask's first or last row.
void RimRow(const uint8_t* __restrict m, int columns, uint8_t* __restrict out) {
  for (int j = 0; j < columns - 1; ++j) {
    for (int p = 0; p < 4; ++p) out[4 * j + p] = RimPixel(m[j], m[j + 1], p);
  }
  std::fill_n(out + 4 * (columns - 1), 4, m[columns - 1]);
}

/// Columns 2 to 4 columns - 3 of an output row between mask rows `a` and `c`, `wy` eighths of `a`. The rows
/// are mixed first, a block at a time in the L1 cache, as each mixed sample serves the outputs on both its
/// sides.
void InnerRow(const uint8_t* __restrict a, const uint8_t* __restrict c, int wy, int columns,
              uint8_t* __restrict out) {
  constexpr int kBlock = 256;
  uint16_t mixed[kBlock + 1];
  const auto upper = static_cast<uint16_t>(wy), lower = static_cast<uint16_t>(8 - wy);
  for (int first = 0; first < columns - 1; first += kBlock) {
    const int n = std::min(kBlock, columns - 1 - first);
    for (int j = 0; j <= n; ++j)
      mixed[j] = static_cast<uint16_t>(upper * a[first + j] + lower * c[first + j]);
    uint8_t* __restrict block = out + 4 * first;
    for (int j = 0; j < n; ++j) {
      const auto step = static_cast<uint16_t>(2 * (mixed[j + 1] - mixed[j]));
      const auto s0 = static_cast<uint16_t>(7 * mixed[j] + mixed[j + 1] + 32);
      const auto s1 = static_cast<uint16_t>(s0 + step);
      const auto s2 = static_cast<uint16_t>(s1 + step);
      const auto s3 = static_cast<uint16_t>(s2 + step);
      block[4 * j + 0] = static_cast<uint8_t>(s0 >> 6);
      block[4 * j + 1] = static_cast<uint8_t>(s1 >> 6);
      block[4 * j + 2] = static_cast<uint8_t>(s2 >> 6);
      block[4 * j + 3] = static_cast<uint8_t>(s3 >> 6);
    }
  }
}

}  // namespace

void UpscaleMask4Rows(const uint8_t* mask, int rows, int columns, int first_row, int row_count,
                      uint8_t* out) {
  assert(first_row >= 0 && first_row + row_count <= 4 * rows);
  const ptrdiff_t pitch = columns;
  const int last = columns - 1;
  for (int y = first_row; y < first_row + row_count; ++y, out += 4 * pitch) {
    if (y < 2 || y >= 4 * rows - 2) {
      RimRow(y < 2 ? mask : mask + (rows - 1) * pitch, columns, out);
      continue;
    }
    const int phase = (y - 2) & 3;
    const uint8_t* above = mask + ((y - 2) >> 2) * pitch;
    InnerRow(above, above + pitch, 7 - 2 * phase, columns, out + 2);
    const uint8_t* sample = mask + (y >> 2) * pitch;
    const uint8_t* next = (y >> 2) < rows - 1 ? sample + pitch : sample;
    out[0] = out[1] = RimPixel(sample[0], next[0], y & 3);
    out[4 * last + 2] = out[4 * last + 3] = RimPixel(sample[last], next[last], y & 3);
  }
}

void UpscaleMask4(const uint8_t* mask, int rows, int columns, uint8_t* map) {
  UpscaleMask4Rows(mask, rows, columns, 0, 4 * rows, map);
}

}  // namespace zolt
