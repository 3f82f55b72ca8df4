#pragma once

#include <cstddef>
#include <cstdint>

namespace zolt {

/// Full-range BT.601 in 16-bit fixed point, as in JPEG files:
///   Y = 0.299 R + 0.587 G + 0.114 B
///   U = 128 + (B - Y) / 1.772      V = 128 + (R - Y) / 1.402
/// rounded to nearest; every sum is below 2^25. `step` bytes lie from pixel to pixel.
struct RgbRow {
  const uint8_t* r;
  const uint8_t* g;
  const uint8_t* b;
  ptrdiff_t step;
};

void LumaRow(const RgbRow& rgb, uint8_t* y, int n);
void ChromaRow(const RgbRow& rgb, uint8_t* u, uint8_t* v, int n);
/// n chroma samples, each of the mean of 2 x 2 pixels; `pixels` of them in a row, the last one is repeated
/// when that is odd. `upper` and `lower` may be the same row.
void HalfChromaRow(const RgbRow& upper, const RgbRow& lower, int pixels, uint8_t* u, uint8_t* v, int n);

struct RgbOut {
  uint8_t* r;
  uint8_t* g;
  uint8_t* b;
  ptrdiff_t step;
};
/// The inverse: R = Y + 1.402 (V - 128), G = Y - 0.344136 (U - 128) - 0.714136 (V - 128), B = Y + 1.772 (U -
/// 128), clamped to 0..255.
void WriteRgbRow(const uint8_t* y, const uint8_t* u, const uint8_t* v, const RgbOut& rgb, int n);

/// A full-size chroma row from the half-size row nearest to it and the one second nearest, weights 3 and 1 in
/// both directions: samples lie in the middle of four luma samples. `chroma` samples a row, 2 * chroma or one
/// less in `out`.
void InterpolateChromaRow(const uint8_t* near, const uint8_t* far, int chroma, uint8_t* out, int n);

}  // namespace zolt
