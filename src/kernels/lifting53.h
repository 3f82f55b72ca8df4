#pragma once

#include <cstdint>

namespace zolt {

/// One level of the integer LeGall 5/3 wavelet by lifting (the reversible transform of JPEG 2000, with an
/// update that truncates). A line x of 2n samples gives n low-pass samples s and n details d:
///   predict  d(i) = x(2i+1) - floor((x(2i) + x(2i+2)) / 2), the last one x(2n-1) - x(2n-2);
///   update   s(0) = x(0) + (d(0) >> 1), s(i) = x(2i) + (wrap16(d(i-1) + d(i)) >> 2).
/// All results wrap to 16 bits, so the inverse gives back every plane of 16-bit samples bit for bit.
///
/// Along a row: `x` holds 2n samples, n >= 1, and shares no memory with `s` and `d`.
void LiftRowForward(const int16_t* x, int16_t* s, int16_t* d, int n);
void LiftRowInverse(const int16_t* s, const int16_t* d, int16_t* x, int n);

/// Row pairs that a call works on, first <= i < last, of a plane with `total` pairs.
struct PairRange {
  int first;
  int last;
  int total;
};

/// Down the columns, w of them: rows 2i and 2i+1 of x give row i of `low` and of `high`, or come back from
/// them. Several threads may share a plane, each with a range of pairs of its own: a call reads rows outside
/// its range but of the source only, and writes only rows of its range. Source and destination are apart.
/// Pitches in samples.
void LiftColumnsForward(const int16_t* x, int pitch, int16_t* low, int16_t* high, int band_pitch, int w,
                        PairRange pairs);
void LiftColumnsInverse(const int16_t* low, const int16_t* high, int band_pitch, int16_t* x, int pitch, int w,
                        PairRange pairs);

/// The transform's entry and exit: 8-bit samples as they are, and back with saturation to 0..255, no
/// rounding. `count` samples one behind the other.
void Widen8To16(const uint8_t* source, int16_t* destination, int64_t count);
void Narrow16To8(const int16_t* source, uint8_t* destination, int64_t count);

}  // namespace zolt
