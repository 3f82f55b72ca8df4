#pragma once

#include <cstdint>

namespace zolt {

/// Mixes another plane in where few frames were folded: with m = 2^shift - 1 and u = (m - W) & 255,
/// plane = (plane * W + other * u + 2^(shift - 1)) >> shift modulo 2^16, the low byte kept. A weight above m
/// (8 frames: shift 7, weights up to 150) wraps u and is no mean any more. shift 5 to 8.
void WeightedMix(uint8_t* plane, const uint8_t* other, const uint8_t* weight, int64_t count, int shift);

/// Gains of DetailAdd: `base` in halves (2 restores the detail whole), `boost` beside it, more on edges and
/// where many frames were folded; `shift` is the fixed-point size of the frame counts, 5 to 8.
struct DetailGains {
  uint8_t base;
  uint8_t boost;
  int shift;
};

/// Adds the detail back to a plane that was doubled in size: D, what `original` has beyond its own half size
/// `doubled`. Per pixel, with S the edge strength and W the frame count, all products modulo 2^16 and read as
/// signed, all shifts arithmetic:
///   g = min(255, 128 + min(255, 2 max(S - 10, 0))), t = (g W) >> 7, d = (D base) >> 1
///   plane = clip8(plane + d + ((d boost) t >> (shift + 1)))
void DetailAdd(uint8_t* plane, const uint8_t* original, const uint8_t* doubled, const uint8_t* edge,
               const uint8_t* weight, int64_t count, const DetailGains& gains);

/// Chroma of the mean of both images where `mask` shows no ghost, of `plane` where it does: with
/// m = min(255, mask << 7), plane = (plane & m) | (rounded mean & ~m); a mask of 1 selects bit by bit. Whole
/// blocks of 16 alone: the last count % 16 elements stay.
void ChromaMix(uint8_t* plane, const uint8_t* other, const uint8_t* mask, int64_t count);

}  // namespace zolt
