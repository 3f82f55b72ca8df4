#include "burst/fine/halving.h"

#include <algorithm>

namespace zolt {

void HalvePlane(PlaneView from, const MutablePlane& out) {
  const int pairs = from.width / 2;
  for (int y = 0; y < out.height; ++y) {
    const uint8_t* __restrict upper = from.Row(2 * y);
    const uint8_t* __restrict lower = from.Row(std::min(2 * y + 1, from.height - 1));
    uint8_t* __restrict row = out.Row(y);
    for (int x = 0; x < pairs; ++x) {
      row[x] =
          static_cast<uint8_t>((upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1] + 2) >> 2);
    }
    if (pairs < out.width) row[pairs] = static_cast<uint8_t>((upper[2 * pairs] + lower[2 * pairs] + 1) >> 1);
  }
}

void AddEnlarged(PlaneView before, PlaneView after, const MutablePlane& plane) {
  for (int y = 0; y < plane.height; ++y) {
    const int near = y / 2, far = std::clamp(y % 2 == 0 ? near - 1 : near + 1, 0, before.height - 1);
    const auto column = [&](int x) {
      return 3 * (after.Row(near)[x] - before.Row(near)[x]) + (after.Row(far)[x] - before.Row(far)[x]);
    };
    uint8_t* row = plane.Row(y);
    for (int x = 0; x < plane.width; ++x) {
      const int other = std::clamp(x % 2 == 0 ? x / 2 - 1 : x / 2 + 1, 0, before.width - 1);
      const int change = (3 * column(x / 2) + column(other) + 8) >> 4;
      row[x] = static_cast<uint8_t>(std::clamp(row[x] + change, 0, 255));
    }
  }
}

}  // namespace zolt
