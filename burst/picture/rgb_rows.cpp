#include "burst/picture/rgb_rows.h"

#include <algorithm>

namespace zolt {
namespace {

constexpr int32_t kHalf = 1 << 15;
// Of 65536; each row of the matrix sums to 65536 or 0, so that grey stays grey.
constexpr int32_t kYr = 19595, kYg = 38470, kYb = 7471;
constexpr int32_t kUr = -11059, kUg = -21709, kUb = 32768;
constexpr int32_t kVr = 32768, kVg = -27439, kVb = -5329;
constexpr int32_t kRv = 91881, kGu = -22554, kGv = -46802, kBu = 116130;

inline uint8_t Clamp(int32_t v) {
  return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

// Shares of 4 for sums of four pixels, of 1 for one.
inline uint8_t ChromaOf(int32_t r, int32_t g, int32_t b, int32_t kr, int32_t kg, int32_t kb, int shift) {
  const int32_t middle = (128 << (16 + shift)) + (kHalf << shift);
  return Clamp((kr * r + kg * g + kb * b + middle) >> (16 + shift));
}

}  // namespace

void LumaRow(const RgbRow& rgb, uint8_t* y, int n) {
  const ptrdiff_t step = rgb.step;
  for (int x = 0; x < n; ++x) {
    y[x] = static_cast<uint8_t>(
        (kYr * rgb.r[x * step] + kYg * rgb.g[x * step] + kYb * rgb.b[x * step] + kHalf) >> 16);
  }
}

void ChromaRow(const RgbRow& rgb, uint8_t* u, uint8_t* v, int n) {
  const ptrdiff_t step = rgb.step;
  for (int x = 0; x < n; ++x) {
    const int32_t r = rgb.r[x * step], g = rgb.g[x * step], b = rgb.b[x * step];
    u[x] = ChromaOf(r, g, b, kUr, kUg, kUb, 0);
    v[x] = ChromaOf(r, g, b, kVr, kVg, kVb, 0);
  }
}

void HalfChromaRow(const RgbRow& upper, const RgbRow& lower, int pixels, uint8_t* u, uint8_t* v, int n) {
  const ptrdiff_t step = upper.step;
  for (int x = 0; x < n; ++x) {
    const ptrdiff_t left = 2 * x * step, right = std::min(2 * x + 1, pixels - 1) * step;
    const auto sum = [&](const uint8_t* a, const uint8_t* b) {
      return int32_t{a[left]} + a[right] + b[left] + b[right];
    };
    const int32_t r = sum(upper.r, lower.r), g = sum(upper.g, lower.g), b = sum(upper.b, lower.b);
    u[x] = ChromaOf(r, g, b, kUr, kUg, kUb, 2);
    v[x] = ChromaOf(r, g, b, kVr, kVg, kVb, 2);
  }
}

void WriteRgbRow(const uint8_t* y, const uint8_t* u, const uint8_t* v, const RgbOut& rgb, int n) {
  const ptrdiff_t step = rgb.step;
  for (int x = 0; x < n; ++x) {
    const int32_t luma = (int32_t{y[x]} << 16) + kHalf;
    const int32_t cu = u[x] - 128, cv = v[x] - 128;
    rgb.r[x * step] = Clamp((luma + kRv * cv) >> 16);
    rgb.g[x * step] = Clamp((luma + kGu * cu + kGv * cv) >> 16);
    rgb.b[x * step] = Clamp((luma + kBu * cu) >> 16);
  }
}

void InterpolateChromaRow(const uint8_t* near, const uint8_t* far, int chroma, uint8_t* out, int n) {
  const auto column = [&](int i) { return 3 * near[i] + far[i]; };  // <= 1020
  const auto mix = [&](int i, int other) {
    return static_cast<uint8_t>((3 * column(i) + column(std::clamp(other, 0, chroma - 1)) + 8) >> 4);
  };
  out[0] = mix(0, -1);
  if (n > 1) out[1] = mix(0, 1);
  for (int i = 1; i < chroma - 1; ++i) {
    const int here = 3 * column(i) + 8;
    out[2 * i] = static_cast<uint8_t>((here + column(i - 1)) >> 4);
    out[2 * i + 1] = static_cast<uint8_t>((here + column(i + 1)) >> 4);
  }
  if (chroma > 1) out[2 * chroma - 2] = mix(chroma - 1, chroma - 2);
  if (chroma > 1 && n == 2 * chroma) out[2 * chroma - 1] = mix(chroma - 1, chroma);
}

}  // namespace zolt
