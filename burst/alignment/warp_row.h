#pragma once

#include <cstdint>

#include "burst/picture/plane.h"

namespace zolt {

inline constexpr int kWarpBlock = 16;

/// A place on a line of samples that moves on evenly: start + i * step for the i-th, in 1/65536.
struct WarpRun {
  int64_t start;
  int32_t step;

  int Whole(int i) const { return static_cast<int>((start + static_cast<int64_t>(step) * i) >> 16); }
};

/// Values of kWarpBlock neighbouring columns of `from`, the first `column` at least 0 and the last inside,
/// column i at the height that `heights` tells, by Keys' cubic (a = -5/8). Rows outside repeat the edge. Q4:
/// -640..4720.
void InterpolateColumns(PlaneView from, int column, const WarpRun& heights, int16_t* out);

/// kWarpBlock values at `places` on a line of Q4 values, by Keys' cubic, rounded and limited to bytes. The
/// line can be read from a block before the first place to a block behind the last.
void InterpolateLine(const int16_t* line, const WarpRun& places, uint8_t* out);

}  // namespace zolt
