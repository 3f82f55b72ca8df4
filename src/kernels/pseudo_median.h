#pragma once

#include <cstdint>

namespace zolt {

/// Separable 3x3 median (the median of three row medians, not the true median of nine): interior pixels are
/// median(m(r-1, x), m(r, x), m(r+1, x)) with m(r, x) = median(p(r, x-1), p(r, x), p(r, x+1)); the outermost
/// rows and columns are the source's. `Out` is uint8_t or int16_t, pitches in elements of the plane that they
/// belong to. A uint8_t destination may be the source itself. `row_scratch` holds 3 * w bytes.
template <typename Out>
void PseudoMedian3x3(const uint8_t* source, int source_pitch, Out* destination, int destination_pitch, int w,
                     int h, uint8_t* row_scratch);

extern template void PseudoMedian3x3<uint8_t>(const uint8_t*, int, uint8_t*, int, int, int, uint8_t*);
extern template void PseudoMedian3x3<int16_t>(const uint8_t*, int, int16_t*, int, int, int, uint8_t*);

}  // namespace zolt
