#pragma once

#include <cstdint>

namespace zolt {

/// log2 of the weight of a pixel that all frames of a burst reached. Frame counts grow by 25 a frame, so that
/// a whole burst of 2, 4, 8 or 10 frames comes near 2^5, 2^6, 2^7, 2^8.
constexpr int WeightShift(int32_t frame_total) {
  if (frame_total == 2) return 5;
  if (frame_total < 5) return 6;
  return frame_total < 9 ? 7 : 8;
}

}  // namespace zolt
