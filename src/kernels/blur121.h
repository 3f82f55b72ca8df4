#pragma once

#include <cstdint>

namespace zolt {

/// Separable 1-2-1 smoothing by rounding halves, avg(a, b) = (a + b + 1) >> 1. Along rows
/// t(x) = avg(avg(p(x-1), p(x+1)), p(x)), at the ends t = (3 p(end) + p(next)) >> 2; then along columns the
/// same inside, at the ends out = avg(avg(t(end), t(next)), t(end)). All bytes, no intermediate above 1020.
/// `temporary` takes h rows of w bytes and overlaps neither plane. `source` and `destination` may be the same
/// plane, but not shifted parts of one. w and h are 2 or more; pitches in bytes, each at least w.
void Blur121(const uint8_t* source, uint8_t* destination, uint8_t* temporary, int w, int h, int source_pitch,
             int destination_pitch, int temporary_pitch);

}  // namespace zolt
