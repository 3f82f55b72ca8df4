#pragma once

#include <cstddef>
#include <utility>

#include "kernels/lifting53.h"

namespace zolt {

// A level of the wavelet without a plane between its columns and its rows: what is lifted along one stays in
// the cache until it is lifted along the other.

/// Working memory of the two below: rows of w samples.
inline constexpr int kForwardRows = 3, kInverseRows = 6;

/// Calls take(i, low, high) for each pair of rows of `plane`, from pairs.first on: row i of the bands, w
/// samples each, the rows not yet lifted themselves. Sample is uint8_t or int16_t, pitch in samples.
template <typename Sample, typename Take>
void LiftPairsForward(const Sample* plane, int pitch, int w, PairRange pairs, int16_t* memory, Take&& take) {
  int16_t* low = memory;
  int16_t* high = low + w;
  int16_t* high_before = high + w;
  for (int i = pairs.first; i < pairs.last; ++i) {
    LiftPairForward(plane + static_cast<ptrdiff_t>(2 * i) * pitch, pitch, i, pairs.total,
                    i == pairs.first ? nullptr : high_before, low, high, w);
    take(i, low, high);
    std::swap(high, high_before);
  }
}

/// Calls take(y, row) for each row of the pairs, from row 2 * pairs.first on. read_low(i, out) and
/// read_high(i, out) give row i of the bands, w samples whose rows are lifted back already: each row once, in
/// order, from pairs.first or from the one before to the one behind pairs.last, where there are such.
template <typename ReadLow, typename ReadHigh, typename Take>
void LiftPairsInverse(int w, PairRange pairs, int16_t* memory, ReadLow&& read_low, ReadHigh&& read_high,
                      Take&& take) {
  int16_t *low = memory, *high = low + w, *other_high = high + w;  // of the pair before, then of the next one
  int16_t *even = other_high + w, *odd = even + w, *next_even = odd + w;
  const int first = pairs.first;
  if (first > 0) read_high(first - 1, other_high);
  read_low(first, low);
  read_high(first, high);
  LiftEvenRow(low, first > 0 ? other_high : nullptr, high, even, w);
  for (int i = first; i < pairs.last; ++i) {
    take(2 * i, even);
    if (i + 1 < pairs.total) {
      read_low(i + 1, low);
      read_high(i + 1, other_high);
      LiftOddRow(low, high, other_high, even, odd, next_even, w);
    } else {
      LiftOddRow(nullptr, high, nullptr, even, odd, nullptr, w);
    }
    take(2 * i + 1, odd);
    std::swap(high, other_high);
    std::swap(even, next_even);
  }
}

}  // namespace zolt
