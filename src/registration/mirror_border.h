#pragma once

#include <cstdint>

namespace zolt {

/// A rectangle inside a plane, in pixels of that plane.
struct PlaneRect {
  int32_t x, y, width, height;
};

/// Fills a w x h plane (pitch w) outside `rect` from inside it: columns first, then whole rows. Left and top
/// mirror about the first column or row, dst[x - i] = dst[x + i]; right and bottom about the edge behind the
/// last one, which so appears twice. Each margin must be narrower than the rectangle.
void MirrorBorder(uint8_t* plane, int32_t w, int32_t h, const PlaneRect& rect);

}  // namespace zolt
