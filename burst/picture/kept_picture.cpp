#include "burst/picture/kept_picture.h"

#include "burst/picture/picture.h"

namespace zolt {

KeptPicture::KeptPicture(const zolt_burst_picture& picture, std::pmr::memory_resource* memory)
    : bytes_(memory), view_(picture) {
  const auto size_of = [&](int c) {
    const bool half = picture.layout == ZOLT_BURST_YUV420 && c > 0;
    const int w = half ? HalfOf(picture.width) : picture.width,
              h = half ? HalfOf(picture.height) : picture.height;
    return std::pair<int, int>(w, h);
  };
  const int channels = picture.layout == ZOLT_BURST_GREY ? 1 : picture.layout == ZOLT_BURST_YUV420 ? 3 : 4;
  size_t total = 0;
  for (int c = 0; c < channels; ++c) {
    const auto [w, h] = size_of(c);
    if (picture.planes[c] != nullptr) total += static_cast<size_t>(w) * static_cast<size_t>(h);
  }
  bytes_.resize(total);
  uint8_t* at = bytes_.data();
  for (int c = 0; c < channels; ++c) {
    if (picture.planes[c] == nullptr) continue;
    const auto [w, h] = size_of(c);
    view_.planes[c] = at;
    view_.row_stride[c] = w;
    view_.pixel_stride[c] = 1;
    for (int y = 0; y < h; ++y) {
      const uint8_t* row = picture.planes[c] + y * picture.row_stride[c];
      for (int x = 0; x < w; ++x) *at++ = row[x * picture.pixel_stride[c]];
    }
  }
}

}  // namespace zolt
