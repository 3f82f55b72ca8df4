#pragma once

#include <cstdint>

namespace zolt {

/// One level of the LeGall 5/3 wavelet in place on the top-left w x h of a 16-bit plane (both even). It
/// leaves four quadrants: the low-pass band at the top left (the next level's input), horizontal detail to
/// its right, vertical detail below, diagonal detail across. All arithmetic wraps to 16 bits, and the inverse
/// gives back any plane exactly. `temporary` holds w * h samples; `pitch` in samples, of the plane.
void WaveletForward(int16_t* plane, int w, int h, int pitch, int16_t* temporary);
void WaveletInverse(int16_t* plane, int w, int h, int pitch, int16_t* temporary);

/// The same from a plane of its own, dense as `plane` is, Sample uint8_t or int16_t: no plane between columns
/// and rows. `rows` holds 3 * w samples.
template <typename Sample>
void WaveletForward(const Sample* source, int w, int h, int16_t* plane, int16_t* rows);
/// And back to 8 bits, saturated, rows first to first + count - 1 alone, both even. The plane is dense and
/// stays. `rows` holds 6 * w samples.
void WaveletInverse(const int16_t* plane, int w, int h, int first, int count, uint8_t* destination,
                    int16_t* rows);

}  // namespace zolt
