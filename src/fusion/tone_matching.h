#pragma once

#include <cstdint>

#include "fusion/plane_set.h"

namespace zolt {

/// One lookup table per colour channel, in the order B, G, R.
struct ToneTables {
  uint8_t table[3][256];
};

/// Where the aligned luma is above `threshold` the aligned frame is blown out and its colours say nothing:
/// its three planes take the accumulated image's values there. Over `count` elements of one worker, in blocks
/// of 16; a count that is no multiple of 16 does its last 16 elements once more, and there planes 1 and 2
/// test their own value instead.
void HighlightSwap(const PlaneSet& accumulated, const PlaneSet& aligned, const uint8_t* aligned_luma,
                   int64_t first, int64_t count, uint8_t threshold);

/// The table that bends one channel of the accumulated image to the aligned frame's tones: histogram matching
/// at a quarter of the planes' size, made monotone against the identity and limited to a rise of 2 per level
/// while the target runs ahead. w and h are multiples of 4, pitch = w; `scratch` is w * h / 8 bytes.
void ToneFromHistogram(const uint8_t* aligned, const uint8_t* accumulated, int w, int h, uint8_t* table,
                       uint8_t* scratch);

/// Taps of the Gaussian that suits the tables' steepest rise: 27, up to 57 where they jump.
int ToneKernelSize(const ToneTables& tones);

/// Normalised taps of the Gaussian that SmoothTone runs, sigma a sixth of its reach: n single-precision
/// values, n odd, 3..57.
void GaussianTaps(float* taps, int n);

/// Smooths a table of 256 entries with a Gaussian of n taps, n odd, 3..57; at the ends with the taps that
/// fall inside. Single precision, k ascending; results truncate.
void SmoothTone(uint8_t* table, int n);

/// plane[i] = table[plane[i]], in place.
void ApplyTone(uint8_t* plane, int64_t count, const uint8_t* table);

}  // namespace zolt
