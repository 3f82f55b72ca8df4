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

/// Down the columns, one pair of rows at a time, for whoever makes or takes rows one after another; w
/// columns. Row i of the bands, s and d, from rows 2i and 2i + 1 of a plane of `total` pairs; rows around
/// them are read too. `even` is row 2i, pitch in samples. `d_before` is row i - 1 of the details; if null it
/// is worked out anew. Sample is uint8_t or int16_t.
template <typename Sample>
void LiftPairForward(const Sample* even, int pitch, int i, int total, const int16_t* d_before, int16_t* s,
                     int16_t* d, int w);
/// Back: row 2i from row i of the bands; `d_before` is null for the first.
void LiftEvenRow(const int16_t* s, const int16_t* d_before, const int16_t* d, int16_t* even, int w);
/// Row 2i + 1 from row 2i, and row 2i + 2 with it. Behind the last pair there is no row i + 1 of the bands:
/// `s_next`, `d_next` and `next_even` are null.
void LiftOddRow(const int16_t* s_next, const int16_t* d, const int16_t* d_next, const int16_t* even,
                int16_t* odd, int16_t* next_even, int w);

/// Row pairs that a call works on, first <= i < last, of a plane with `total` pairs.
struct PairRange {
  int first;
  int last;
  int total;
};

/// All of them: rows 2i and 2i + 1 of x give row i of `low` and of `high`, or come back from them. Several
/// threads may share a plane, each with a range of pairs of its own: a call reads rows outside its range but
/// of the source only, and writes only rows of its range. Source and destination are apart. Pitches in
/// samples.
void LiftColumnsForward(const int16_t* x, int pitch, int16_t* low, int16_t* high, int band_pitch, int w,
                        PairRange pairs);
void LiftColumnsInverse(const int16_t* low, const int16_t* high, int band_pitch, int16_t* x, int pitch, int w,
                        PairRange pairs);

/// The transform's exit: with saturation to 0..255, no rounding. `count` samples one behind the other.
void Narrow16To8(const int16_t* source, uint8_t* destination, int64_t count);

}  // namespace zolt
