#pragma once

#include <cstdint>

namespace zolt {

// Chroma noise reduction on planes of a quarter of the luma's linear size, pitch = w: a five-level
// undecimated wavelet transform whose details are soft-thresholded (Donoho), the threshold scaled per pixel
// by a noise map that is high on flat ground where few frames were merged and low on chroma edges. Values are
// Q7 (grey level x 128) in 16 bits, 0..32640 at the start.

/// Scalars that the tuning's chroma strength becomes. `edge` up to b counts as flat, from a on as an edge;
/// `floor` (4096 is 1.0) is what the noise map falls to on an edge; g scales all thresholds.
/// a - b >= 15, 0 <= floor <= 4096.
struct ChromaSettings {
  int32_t a, b, floor;
  uint16_t g;
};

/// `f` is the floor in general: 1228 where frame counts are known per pixel, 2048 where not. Any chromaS; the
/// useful ones are -100 (off) to -40 and up. 10 * chromaS and chromaS + 100 wrap in 32 bits.
ChromaSettings ChromaSettingsFromStrength(int32_t chromaS, int32_t f);

/// Distance from grey, lifted: out = sat8(sat8(|u - 128| + |v - 128|) + 64). All three planes at `pitch`;
/// `destination` may be one of the sources.
void ChromaMagnitude(const uint8_t* u, const uint8_t* v, uint8_t* destination, int w, int h, int pitch);

/// a = sat8(a + b) in place, pitch = w >= 16, in blocks of 16 columns: a width that is no multiple of 16 adds
/// twice in the columns where the last block overlaps.
void SaturatingAdd(uint8_t* a, const uint8_t* b, int w, int h);

/// Grey levels to Q7, exactly, and back rounded: sat8((value + 64) >> 7), negative values to 0. Pitch = w.
void ToQ7(const uint8_t* source, int16_t* destination, int w, int h);
void FromQ7(const int16_t* source, uint8_t* destination, int w, int h);

/// Shrinks the first chroma plane (U), `cw` in place, and leaves in `noise_map` (w x h, 4096 is 1.0,
/// 0..32768) what the second one reuses. Per pixel, with k = (4096 - floor) / (a - b):
///
///   e = min(max(edge - b, 0), a - b)              how much of an edge
///   q = max((1 << shift) - 1 - wq, 0)             how much of the burst is missing here
///   c = max(shift - (wq >> 4), 1)                 fewer frames, more noise
///   r = ((k >> 1) * q + (1 << (shift - 1))) >> shift
///   noise = (4096 - e * (k - r)) * c
///
/// `edge` is the chroma edge strength, `wq` the 4 x 4 mean of the frame counts (in steps of 25), `shift` 5 to
/// 8 grows with the length of the burst. Then for levels 0 to 4, with P the level's input and L = P smoothed
/// with holes of 2^level, d = P - L (16 bits):
///
///   t = (table[L >> 13] * (g * noise) + 8192) >> 14      modulo 2^32, the low 16 bits, 0..65535
///   level 0 alone: t = max(t, 76)
///   u = sat16((t * 32441 + 16384) >> 15)                 a soft threshold that leaks about 1 per cent
///   s = d - u if d > t, else d + u if d < -t, else (d * 327 + 16384) >> 15
///   level 0 alone: s = d where |d| < 76                  below 0.6 of a grey level nothing is taken
///
/// s replaces cw at level 0 and is added to it at the others, and the last L is added at the end; all these
/// additions wrap in 16 bits. In the columns from w & ~7 on (a last partial block of eight) the rounding
/// constant of t is 65536 and t is signed, -32768..32767.
///
/// `chromaNrLUT` holds 40 thresholds: 20 for U, then 20 for V; four per level, one for each quarter of the
/// chroma range. `work` is 3 * w * h samples. `low_pass` gets level 1's L as grey levels. All pitches are w.
void ChromaShrinkFirst(int16_t* cw, const uint8_t* edge, const uint8_t* wq, int w, int h,
                       const ChromaSettings& settings, int shift, uint16_t* noise_map, int16_t* work,
                       const int32_t* chromaNrLUT, uint8_t* low_pass);

/// The same without frame counts: noise = 4096 - e * k.
void ChromaShrinkFirstPlain(int16_t* cw, const uint8_t* edge, int w, int h, const ChromaSettings& settings,
                            uint16_t* noise_map, int16_t* work, const int32_t* chromaNrLUT,
                            uint8_t* low_pass);

/// The second plane (V): reads `noise_map`, and entries 20 to 39 of the same table of 40.
void ChromaShrinkSecond(int16_t* cw, int w, int h, const ChromaSettings& settings, const uint16_t* noise_map,
                        int16_t* work, const int32_t* chromaNrLUT, uint8_t* low_pass);

}  // namespace zolt
