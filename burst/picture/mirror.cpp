#include "burst/picture/mirror.h"

#include <cstring>

namespace zolt {

int MirroredIndex(int i, int n) {
  if (n == 1) return 0;
  const int period = 2 * (n - 1);
  i %= period;
  if (i < 0) i += period;
  return i < n ? i : period - i;
}

void MirrorAround(const MutablePlane& plane, int left, int top, int width, int height) {
  for (int y = top; y < top + height; ++y) {
    uint8_t* row = plane.Row(y);
    for (int x = 0; x < left; ++x) row[x] = row[left + MirroredIndex(x - left, width)];
    for (int x = left + width; x < plane.width; ++x) row[x] = row[left + MirroredIndex(x - left, width)];
  }
  const auto mirror_row = [&](int y) {
    std::memcpy(plane.Row(y), plane.Row(top + MirroredIndex(y - top, height)),
                static_cast<size_t>(plane.width));
  };
  for (int y = 0; y < top; ++y) mirror_row(y);
  for (int y = top + height; y < plane.height; ++y) mirror_row(y);
}

}  // namespace zolt
