#pragma once

#include <cstdint>

namespace zolt {

/// The grey image that keypoints are searched in; pitch is the width.
struct DetectionImage {
  const uint8_t* pixels;
  int32_t width, height;
};

/// Summed-area table: at(r, c) is the sum of the pixels above row r and left of column c, modulo 2^32, so
/// that the sum over a rectangle is right as long as that fits 32 bits. One row and column more than the
/// image; the first ones are zero.
struct IntegralImage {
  uint32_t* sums;
  int32_t width, height;

  const uint32_t* Row(int32_t r) const { return sums + static_cast<int64_t>(r) * width; }
};

/// Fills (width + 1) x (height + 1) words at `sums`, four jobs on RegistrationPool(), which has been started.
IntegralImage BuildIntegralImage(const DetectionImage& image, uint32_t* sums);

}  // namespace zolt
