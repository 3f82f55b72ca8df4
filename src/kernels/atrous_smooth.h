#pragma once

#include <cstdint>

namespace zolt {

/// One smoothing of the undecimated wavelet transform with holes (algorithme à trous): a separable 1-2-1
/// filter whose taps lie `hole` samples apart, along the rows into `temporary`, then along the columns into
/// `destination`. With avg(a, b) = (a + b + 1) >> 1 on signed 16-bit samples:
///
///   inside, where both taps lie in the line:  out(x) = avg(avg(p(x - n), p(x + n)), p(x))
///   at the ends:                              out(x) = (p(x - n) + 2 p(x) + p(x + n) + 2) >> 2
///
/// where a tap outside is reflected about the end sample, p(-j) = p(j). The two differ by a rounding step at
/// times; both belong to the result. A line too short for the reflection to fall inside reflects again from
/// its other end, and a line of one sample repeats it, so any w and h from 1 are safe. The result is within
/// the range of the samples that were averaged.
///
/// hole is 1, 2, 4, 8 or 16; with another nothing is written. Pitches in samples. `temporary` is another
/// plane than both; `destination` may be `source`.
void AtrousSmooth(const int16_t* source, int source_pitch, int16_t* destination, int destination_pitch,
                  int16_t* temporary, int temporary_pitch, int w, int h, int hole);

}  // namespace zolt
