#include "fusion/bgr_conversion.h"

#include "base/arithmetic.h"
#include "base/vector_clones.h"

namespace zolt {
namespace {

constexpr int kBias = 127;

// Two luma rows of one chroma row. The chroma terms are shared by four pixels; even and odd columns are
// separate strided streams, which the compiler turns into de-interleaving loads.
ZOLT_VECTOR_CLONES void YuvRowToBgr(const uint8_t* __restrict y, const uint8_t* __restrict u,
                                    const uint8_t* __restrict v, uint8_t* __restrict b, uint8_t* __restrict g,
                                    uint8_t* __restrict r, int pairs) {
  for (int i = 0; i < pairs; ++i) {
    const auto du = static_cast<int16_t>(u[i] - kBias);
    const auto dv = static_cast<int16_t>(v[i] - kBias);
    const auto blue = static_cast<int16_t>(114 * du + 32);
    const auto green = static_cast<int16_t>(-46 * dv - 22 * du + 32);
    const auto red = static_cast<int16_t>(90 * dv + 32);
    const auto left = static_cast<int16_t>(64 * y[2 * i]);
    const auto right = static_cast<int16_t>(64 * y[2 * i + 1]);
    b[2 * i] = SaturateU8(static_cast<int16_t>(left + blue) >> 6);
    b[2 * i + 1] = SaturateU8(static_cast<int16_t>(right + blue) >> 6);
    g[2 * i] = SaturateU8(static_cast<int16_t>(left + green) >> 6);
    g[2 * i + 1] = SaturateU8(static_cast<int16_t>(right + green) >> 6);
    r[2 * i] = SaturateU8(static_cast<int16_t>(left + red) >> 6);
    r[2 * i + 1] = SaturateU8(static_cast<int16_t>(right + red) >> 6);
  }
}

ZOLT_VECTOR_CLONES void LumaRow(const uint8_t* __restrict b, const uint8_t* __restrict g,
                                const uint8_t* __restrict r, uint8_t* __restrict y, int w) {
  for (int x = 0; x < w; ++x) {
    y[x] = static_cast<uint8_t>(static_cast<uint16_t>(7 * b[x] + 38 * g[x] + 19 * r[x] + 32) >> 6);
  }
}

ZOLT_VECTOR_CLONES void ChromaRow(const uint8_t* __restrict b, const uint8_t* __restrict r,
                                  const uint8_t* __restrict y, uint8_t* __restrict u, uint8_t* __restrict v,
                                  int pairs) {
  constexpr int kOffset = kBias * 64 + 32;
  for (int i = 0; i < pairs; ++i) {
    const int luma = y[2 * i];
    u[i] = SaturateU8((36 * (b[2 * i] - luma) + kOffset) >> 6);
    v[i] = SaturateU8((46 * (r[2 * i] - luma) + kOffset) >> 6);
  }
}

}  // namespace

void YuvToBgr(const PlaneSet& yuv, const PlaneSet& bgr, int w, int first, int rows) {
  for (int row = first; row < first + rows; ++row) {
    const int64_t luma = static_cast<int64_t>(row) * w;
    const int64_t chroma = static_cast<int64_t>(row / 2) * (w / 2);
    YuvRowToBgr(yuv.plane[0] + luma, yuv.plane[1] + chroma, yuv.plane[2] + chroma, bgr.plane[0] + luma,
                bgr.plane[1] + luma, bgr.plane[2] + luma, w / 2);
  }
}

void BgrToYuv(const PlaneSet& bgr, const PlaneSet& yuv, int w, int first, int rows) {
  for (int row = first; row < first + rows; ++row) {
    const int64_t luma = static_cast<int64_t>(row) * w;
    const uint8_t* b = bgr.plane[0] + luma;
    const uint8_t* r = bgr.plane[2] + luma;
    uint8_t* y = yuv.plane[0] + luma;
    LumaRow(b, bgr.plane[1] + luma, r, y, w);
    if (row % 2 != 0) continue;
    const int64_t chroma = static_cast<int64_t>(row / 2) * (w / 2);
    ChromaRow(b, r, y, yuv.plane[1] + chroma, yuv.plane[2] + chroma, w / 2);
  }
}

}  // namespace zolt
