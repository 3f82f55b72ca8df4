#pragma once

#include <cstdint>

namespace zolt {

/// 2:1 in each direction by rounding halves: out = avg(avg(a, b), avg(c, d)), avg(x, y) = (x + y + 1) >> 1,
/// with a, b the upper and c, d the lower pair. w and h are the source's, even; the destination's pitch is w
/// / 2.
void Box2Down(const uint8_t* source, int source_pitch, uint8_t* destination, int w, int h);

/// 4:1 in each direction: out = (sum of the 4 x 4 block + 8) >> 4, at most 4088 before the shift: 16 bits. w
/// and h are the source's, multiples of 4, pitch w; the destination is w / 4 x h / 4 at pitch w / 4.
void Box4Down(const uint8_t* source, int h, int w, uint8_t* destination);

}  // namespace zolt
