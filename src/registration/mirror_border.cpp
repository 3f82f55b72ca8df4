#include "registration/mirror_border.h"

#include <cstring>

namespace zolt {

void MirrorBorder(uint8_t* plane, int32_t w, int32_t h, const PlaneRect& rect) {
  const int32_t right = rect.x + rect.width, bottom = rect.y + rect.height;
  const auto row = [=](int32_t y) { return plane + static_cast<int64_t>(y) * w; };
  for (int32_t y = rect.y; y < bottom; ++y) {
    uint8_t* p = row(y);
    for (int32_t i = 0; i < rect.x; ++i) p[i] = p[2 * rect.x - i];
    for (int32_t k = 0; k < w - right; ++k) p[right + k] = p[right - 1 - k];
  }
  const auto row_bytes = static_cast<size_t>(w);
  for (int32_t y = 0; y < rect.y; ++y) std::memcpy(row(y), row(2 * rect.y - y), row_bytes);
  for (int32_t y = bottom; y < h; ++y) std::memcpy(row(y), row(2 * bottom - 1 - y), row_bytes);
}

}  // namespace zolt
