#pragma once

#include <cstdint>

namespace zolt {

/// The frame that the engine works on: the picture with mirrored pixels around it,
/// so that the picture's edge is an inner place like any other.
struct WorkGeometry {
  int width;  ///< of the picture, pixels
  int height;
  int left;  ///< where the picture begins in the frame; even, as chroma has half of it
  int top;
  int work_width;  ///< multiples of 16, which the engine pads nothing for
  int work_height;

  int64_t pixels() const { return int64_t{work_width} * work_height; }
  int64_t block_size() const { return pixels() / 2 * 3; }
};

inline WorkGeometry MakeWorkGeometry(int width, int height) {
  constexpr int kBorder = 16;
  const auto side = [](int inner) {
    // Below, the engine filters nothing and looks for ghosts in luma alone.
    constexpr int kSmallest = 272;
    const int padded = (inner + 2 * kBorder + 15) & ~15;
    return padded < kSmallest ? kSmallest : padded;
  };
  return {width, height, kBorder, kBorder, side(width), side(height)};
}

}  // namespace zolt
