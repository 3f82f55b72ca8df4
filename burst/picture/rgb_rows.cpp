#include "burst/picture/rgb_rows.h"

#include <algorithm>

#include "base/vector_clones.h"

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

// Any step between pixels, one pixel after the other.

void LumaAnyStep(const RgbRow& rgb, uint8_t* y, int n) {
  const ptrdiff_t step = rgb.step;
  for (int x = 0; x < n; ++x) {
    y[x] = static_cast<uint8_t>(
        (kYr * rgb.r[x * step] + kYg * rgb.g[x * step] + kYb * rgb.b[x * step] + kHalf) >> 16);
  }
}

void ChromaAnyStep(const RgbRow& rgb, uint8_t* u, uint8_t* v, int n) {
  const ptrdiff_t step = rgb.step;
  for (int x = 0; x < n; ++x) {
    const int32_t r = rgb.r[x * step], g = rgb.g[x * step], b = rgb.b[x * step];
    u[x] = ChromaOf(r, g, b, kUr, kUg, kUb, 0);
    v[x] = ChromaOf(r, g, b, kVr, kVg, kVb, 0);
  }
}

void HalfChromaAnyStep(const RgbRow& upper, const RgbRow& lower, int pixels, uint8_t* u, uint8_t* v, int n) {
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

void WriteAnyStep(const uint8_t* y, const uint8_t* u, const uint8_t* v, const RgbOut& rgb, int n) {
  const ptrdiff_t step = rgb.step;
  for (int x = 0; x < n; ++x) {
    const int32_t luma = (int32_t{y[x]} << 16) + kHalf;
    const int32_t cu = u[x] - 128, cv = v[x] - 128;
    rgb.r[x * step] = Clamp((luma + kRv * cv) >> 16);
    rgb.g[x * step] = Clamp((luma + kGu * cu + kGv * cv) >> 16);
    rgb.b[x * step] = Clamp((luma + kBu * cu) >> 16);
  }
}

constexpr int kChunk = 256;  // pixels whose planes stay in the first-level cache

struct Planes {
  uint8_t r[kChunk], g[kChunk], b[kChunk];
};

/// Whether pixels are worth taking apart for arithmetic in vectors: as planes, or as three neighbouring
/// bytes, blue or red first, with at most one between pixels.
template <typename Row>
bool ComeApart(const Row& rgb) {
  if (!VectorsShuffleBytes()) return false;
  if (rgb.step == 1) return true;
  const bool neighbours = rgb.g - rgb.r == rgb.b - rgb.g && (rgb.g - rgb.r == 1 || rgb.r - rgb.g == 1);
  return neighbours && (rgb.step == 3 || rgb.step == 4);
}

template <int kStep>
void SplitPixels(const uint8_t* __restrict pixels, int n, uint8_t* __restrict first,
                 uint8_t* __restrict second, uint8_t* __restrict third) {
  for (int x = 0; x < n; ++x) {
    first[x] = pixels[kStep * x];
    second[x] = pixels[kStep * x + 1];
    third[x] = pixels[kStep * x + 2];
  }
}

/// n pixels from `first` on as planes, `own` where they aren't planes already.
inline RgbRow PlanesOf(const RgbRow& rgb, int first, int n, Planes* own) {
  const ptrdiff_t at = first * rgb.step;
  if (rgb.step == 1) return {rgb.r + at, rgb.g + at, rgb.b + at, 1};
  const bool red_first = rgb.r < rgb.b;
  const uint8_t* pixels = (red_first ? rgb.r : rgb.b) + at;
  uint8_t* before = red_first ? own->r : own->b;
  uint8_t* behind = red_first ? own->b : own->r;
  if (rgb.step == 3) {
    SplitPixels<3>(pixels, n, before, own->g, behind);
  } else {
    SplitPixels<4>(pixels, n, before, own->g, behind);
  }
  return {own->r, own->g, own->b, 1};
}

void LumaRun(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* __restrict y, int n) {
  for (int x = 0; x < n; ++x) {
    y[x] = static_cast<uint8_t>((kYr * r[x] + kYg * g[x] + kYb * b[x] + kHalf) >> 16);
  }
}

void ChromaRun(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* __restrict u,
               uint8_t* __restrict v, int n) {
  for (int x = 0; x < n; ++x) {
    u[x] = ChromaOf(r[x], g[x], b[x], kUr, kUg, kUb, 0);
    v[x] = ChromaOf(r[x], g[x], b[x], kVr, kVg, kVb, 0);
  }
}

/// Sums of 2 x 2 pixels.
void SumPairs(const uint8_t* upper, const uint8_t* lower, uint16_t* __restrict sums, int n) {
  for (int x = 0; x < n; ++x) {
    sums[x] = static_cast<uint16_t>(upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1]);
  }
}

void HalfChromaRun(const uint16_t* r, const uint16_t* g, const uint16_t* b, uint8_t* __restrict u,
                   uint8_t* __restrict v, int n) {
  for (int x = 0; x < n; ++x) {
    u[x] = ChromaOf(r[x], g[x], b[x], kUr, kUg, kUb, 2);
    v[x] = ChromaOf(r[x], g[x], b[x], kVr, kVg, kVb, 2);
  }
}

void RgbRun(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* __restrict r,
            uint8_t* __restrict g, uint8_t* __restrict b, int n) {
  for (int x = 0; x < n; ++x) {
    const int32_t luma = (int32_t{y[x]} << 16) + kHalf;
    const int32_t cu = u[x] - 128, cv = v[x] - 128;
    r[x] = Clamp((luma + kRv * cv) >> 16);
    g[x] = Clamp((luma + kGu * cu + kGv * cv) >> 16);
    b[x] = Clamp((luma + kBu * cu) >> 16);
  }
}

void JoinPixels(const uint8_t* __restrict first, const uint8_t* __restrict second,
                const uint8_t* __restrict third, uint8_t* __restrict pixels, int n) {
  for (int x = 0; x < n; ++x) {
    pixels[3 * x] = first[x];
    pixels[3 * x + 1] = second[x];
    pixels[3 * x + 2] = third[x];
  }
}

/// Bytes between pixels are not the picture's: they are not written.
inline void PutPixels(const Planes& planes, const RgbOut& rgb, int first, int n) {
  const ptrdiff_t step = rgb.step, at = first * step;
  uint8_t *r = rgb.r + at, *g = rgb.g + at, *b = rgb.b + at;
  if (step == 3 && r < b) return JoinPixels(planes.r, planes.g, planes.b, r, n);
  if (step == 3) return JoinPixels(planes.b, planes.g, planes.r, b, n);
  for (int x = 0; x < n; ++x) {
    r[x * step] = planes.r[x];
    g[x * step] = planes.g[x];
    b[x * step] = planes.b[x];
  }
}

}  // namespace

ZOLT_VECTOR_CLONES void LumaRow(const RgbRow& rgb, uint8_t* y, int n) {
  if (!ComeApart(rgb)) return LumaAnyStep(rgb, y, n);
  Planes own;
  for (int first = 0; first < n; first += kChunk) {
    const int count = std::min(kChunk, n - first);
    const RgbRow p = PlanesOf(rgb, first, count, &own);
    LumaRun(p.r, p.g, p.b, y + first, count);
  }
}

ZOLT_VECTOR_CLONES void ChromaRow(const RgbRow& rgb, uint8_t* u, uint8_t* v, int n) {
  if (!ComeApart(rgb)) return ChromaAnyStep(rgb, u, v, n);
  Planes own;
  for (int first = 0; first < n; first += kChunk) {
    const int count = std::min(kChunk, n - first);
    const RgbRow p = PlanesOf(rgb, first, count, &own);
    ChromaRun(p.r, p.g, p.b, u + first, v + first, count);
  }
}

ZOLT_VECTOR_CLONES void HalfChromaRow(const RgbRow& upper, const RgbRow& lower, int pixels, uint8_t* u,
                                      uint8_t* v, int n) {
  if (!ComeApart(upper) || !ComeApart(lower)) return HalfChromaAnyStep(upper, lower, pixels, u, v, n);
  Planes own[2];
  uint16_t r[kChunk / 2], g[kChunk / 2], b[kChunk / 2];
  const int whole = std::min(n, pixels / 2);
  for (int first = 0; first < whole; first += kChunk / 2) {
    const int count = std::min(kChunk / 2, whole - first);
    const RgbRow p = PlanesOf(upper, 2 * first, 2 * count, &own[0]);
    const RgbRow q = PlanesOf(lower, 2 * first, 2 * count, &own[1]);
    SumPairs(p.r, q.r, r, count);
    SumPairs(p.g, q.g, g, count);
    SumPairs(p.b, q.b, b, count);
    HalfChromaRun(r, g, b, u + first, v + first, count);
  }
  if (whole == n) return;
  const ptrdiff_t last = 2 * whole * upper.step;
  const RgbRow above = {upper.r + last, upper.g + last, upper.b + last, upper.step};
  const RgbRow below = {lower.r + last, lower.g + last, lower.b + last, lower.step};
  HalfChromaAnyStep(above, below, pixels - 2 * whole, u + whole, v + whole, n - whole);
}

ZOLT_VECTOR_CLONES void WriteRgbRow(const uint8_t* y, const uint8_t* u, const uint8_t* v, const RgbOut& rgb,
                                    int n) {
  if (!ComeApart(rgb)) return WriteAnyStep(y, u, v, rgb, n);
  Planes own;
  for (int first = 0; first < n; first += kChunk) {
    const int count = std::min(kChunk, n - first);
    RgbRun(y + first, u + first, v + first, own.r, own.g, own.b, count);
    PutPixels(own, rgb, first, count);
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
