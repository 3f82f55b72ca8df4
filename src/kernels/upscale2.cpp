#include "kernels/upscale2.h"

#include "base/vector_clones.h"

namespace zolt {
namespace {

/// An output row on the image's border: interpolated along x only.
void BorderRow(const uint8_t* __restrict s, int w, uint8_t* __restrict out) {
  out[0] = s[0];
  for (int x = 0; x < w - 1; ++x) {
    out[2 * x + 1] = static_cast<uint8_t>((3 * s[x] + s[x + 1] + 2) >> 2);
    out[2 * x + 2] = static_cast<uint8_t>((s[x] + 3 * s[x + 1] + 2) >> 2);
  }
  out[2 * w - 1] = s[w - 1];
}

/// An output row inside, between source row `near` and the farther one `far`: the 9-3-3-1 weights are 3-1
/// down the columns, then 3-1 along the row, rounded once.
void InsideRow(const uint8_t* __restrict near, const uint8_t* __restrict far, int w,
               uint8_t* __restrict out) {
  out[0] = static_cast<uint8_t>((3 * near[0] + far[0] + 2) >> 2);
  for (int x = 0; x < w - 1; ++x) {
    const auto left = static_cast<uint16_t>(3 * near[x] + far[x]);
    const auto right = static_cast<uint16_t>(3 * near[x + 1] + far[x + 1]);
    out[2 * x + 1] = static_cast<uint8_t>(static_cast<uint16_t>(3 * left + right + 8) >> 4);
    out[2 * x + 2] = static_cast<uint8_t>(static_cast<uint16_t>(left + 3 * right + 8) >> 4);
  }
  out[2 * w - 1] = static_cast<uint8_t>((3 * near[w - 1] + far[w - 1] + 2) >> 2);
}

}  // namespace

ZOLT_VECTOR_CLONES void Upscale2(const uint8_t* source, int rows, int w, uint8_t* destination,
                                 int destination_pitch, UpscaleEdges edges) {
  const bool top_border = edges == UpscaleEdges::kBoth || edges == UpscaleEdges::kFirst;
  const bool bottom_border = edges == UpscaleEdges::kBoth || edges == UpscaleEdges::kLast;
  for (int y = 0; y < rows; ++y) {
    const uint8_t* row = source + static_cast<int64_t>(y) * w;
    uint8_t* upper = destination + static_cast<int64_t>(2 * y) * destination_pitch;
    uint8_t* lower = upper + destination_pitch;
    if (y == 0 && top_border) {
      BorderRow(row, w, upper);
    } else {
      InsideRow(row, row - w, w, upper);
    }
    if (y == rows - 1 && bottom_border) {
      BorderRow(row, w, lower);
    } else {
      InsideRow(row, row + w, w, lower);
    }
  }
}

void Upscale2Rows(const uint8_t* source, int rows, int w, uint8_t* destination, int destination_pitch,
                  int first, int last) {
  const bool top_border = first == 0, bottom_border = last == rows;
  const UpscaleEdges edges = top_border ? (bottom_border ? UpscaleEdges::kBoth : UpscaleEdges::kFirst)
                                        : (bottom_border ? UpscaleEdges::kLast : UpscaleEdges::kNone);
  Upscale2(source + static_cast<int64_t>(first) * w, last - first, w, destination, destination_pitch, edges);
}

}  // namespace zolt
