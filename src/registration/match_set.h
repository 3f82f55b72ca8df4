#pragma once

#include <cstdint>

namespace zolt {

/// A position in pixels, pixel (0, 0) being the centre of the upper left one.
struct Point {
  float x, y;
};

/// Pairs of points that show the same thing in two frames, and what is made of them. Owns nothing; both lists
/// hold up to 6000 points.
struct MatchSet {
  Point* reference;
  Point* current;
  int32_t count;        ///< live pairs in both lists
  float homography[9];  ///< row-major; zero until a fit has been accepted, then h8 = 1
  uint8_t* peakLevel;   ///< most frequent luma of the reference
  uint8_t* lumaLevel;   ///< mean luma of the reference's brightest 5 per cent
};

}  // namespace zolt
