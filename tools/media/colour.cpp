#include "media/colour.h"

#include <algorithm>

namespace zolt {
namespace {

uint8_t Byte(int v) {
  return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

// The weights of each row sum to 65536 (luma) or 0 (chroma), which is what keeps greys exact.
int LumaOf(const uint8_t* p) {
  return (19595 * p[0] + 38470 * p[1] + 7471 * p[2] + 32768) >> 16;
}

// `sum` holds the sums of R, G and B over n pixels.
uint8_t ChromaOf(const int* sum, int n, int wr, int wg, int wb) {
  const int64_t weighted = int64_t{wr} * sum[0] + int64_t{wg} * sum[1] + int64_t{wb} * sum[2];
  const int64_t half = int64_t{n} << 15;
  const int64_t offset = int64_t{n} * (128 << 16);
  return Byte(static_cast<int>((weighted + offset + half) / (int64_t{n} << 16)));
}

}  // namespace

YuvPicture YuvFromRgb(const RgbPicture& rgb) {
  YuvPicture out(rgb.width, rgb.height);
  const size_t pixels = size_t(rgb.width) * rgb.height;
  for (size_t i = 0; i < pixels; ++i) out.y[i] = Byte(LumaOf(&rgb.rgb[3 * i]));
  const int cw = out.ChromaWidth();
  for (int cy = 0; cy < out.ChromaHeight(); ++cy) {
    for (int cx = 0; cx < cw; ++cx) {
      int sum[3] = {0, 0, 0};
      int n = 0;
      for (int y = 2 * cy; y < std::min(2 * cy + 2, rgb.height); ++y) {
        for (int x = 2 * cx; x < std::min(2 * cx + 2, rgb.width); ++x, ++n) {
          const uint8_t* p = &rgb.rgb[3 * (size_t(y) * rgb.width + x)];
          for (int c = 0; c < 3; ++c) sum[c] += p[c];
        }
      }
      out.u[size_t(cy) * cw + cx] = ChromaOf(sum, n, -11059, -21709, 32768);
      out.v[size_t(cy) * cw + cx] = ChromaOf(sum, n, 32768, -27439, -5329);
    }
  }
  return out;
}

YuvPicture YuvOf(const AnyPicture& picture) {
  const auto* rgb = std::get_if<RgbPicture>(&picture);
  return rgb ? YuvFromRgb(*rgb) : std::get<YuvPicture>(picture);
}

RgbPicture RgbFromYuv(const YuvPicture& yuv) {
  RgbPicture out(yuv.width, yuv.height);
  const int cw = yuv.ChromaWidth();
  for (int y = 0; y < yuv.height; ++y) {
    for (int x = 0; x < yuv.width; ++x) {
      const size_t c = size_t(y / 2) * cw + x / 2;
      const int luma = (yuv.y[size_t(y) * yuv.width + x] << 16) + 32768;
      const int u = yuv.u[c] - 128;
      const int v = yuv.v[c] - 128;
      uint8_t* p = &out.rgb[3 * (size_t(y) * yuv.width + x)];
      p[0] = Byte((luma + 91881 * v) >> 16);
      p[1] = Byte((luma - 22554 * u - 46802 * v) >> 16);
      p[2] = Byte((luma + 116130 * u) >> 16);
    }
  }
  return out;
}

}  // namespace zolt
