#pragma once

#include <cstdint>

#include "base/alloc_hooks.h"

namespace zolt {

/// Two planes of one size, both at pitch w.
struct PlanePair {
  const uint8_t* aligned;
  const uint8_t* first;
  int w;
  int h;
};

/// Grey levels that a filtered difference must exceed to count as motion: `low` where the aligned pixel is
/// below `noise`, `high` elsewhere. Any 32-bit value; a negative limit marks every pixel.
struct DifferenceLimits {
  int32_t low;
  int32_t high;
  int32_t noise;
};

/// How many pixels of the planes go into one pixel of the mask, in each direction.
enum class MaskScale { kFull = 1, kHalf = 2, kQuarter = 4 };

/// Rows that a difference mask of `columns` keeps at hand while it runs down the planes.
struct DifferenceRows {
  static constexpr int kFiltered = 7, kAligned = 4;
  int16_t* filtered;    ///< kFiltered rows of `columns`, low-passed along the row
  int16_t* difference;  ///< one row
  uint8_t* aligned;     ///< kAligned rows, downscaled
  uint8_t* first;       ///< one row, downscaled

  /// Cuts the low-passed rows from one block and all else from the other; both may be the same.
  static DifferenceRows Cut(RegionCutter* filtered_block, RegionCutter* rows_block, int columns);
  /// Bytes that all rows together take in one block, alignment included.
  static uint64_t Size(int columns);
};

/// Marks where two planes differ: both are downscaled by boxes, subtracted, low-passed with the binomial
/// (1 6 15 20 15 6 1) / 64 along rows and then along columns, and compared, |d| > limit, 255 or 0. Everything
/// happens in one run down the planes, so a frame is read once and nothing but the mask is written. A line's
/// missing taps are folded onto its other side; in the row pass the tap folded onto position 1 weighs 12
/// where all others weigh 2, so that differences beside the left border count a little more. Arithmetic
/// shifts without rounding; the largest sum is 18870: 16 bits. The mask has w / scale columns (its pitch) and
/// h / scale rows, both 6 or more.
void DifferenceMask(const PlanePair& planes, MaskScale scale, const DifferenceLimits& limits,
                    const DifferenceRows& rows, uint8_t* mask);

}  // namespace zolt
