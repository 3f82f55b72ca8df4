#pragma once

#include <cstdint>

#include "registration/integral_image.h"

namespace zolt {

/// Sides of the box filters, one octave at step 1.
inline constexpr int32_t kLayerCount = 4;
inline constexpr int32_t kFilterSizes[kLayerCount] = {9, 15, 21, 27};

/// Answers of one filter size, one i32 per pixel; the half filter along each border is never written.
struct ResponseLayer {
  int32_t* responses;
  int32_t filter;  ///< side L of the filter
  int32_t width, height;

  const int32_t* Row(int32_t r) const { return responses + static_cast<int64_t>(r) * width; }
};

/// Fast-Hessian determinant (Bay et al., SURF) of filter size layer.filter at every position where the filter
/// lies inside the image: Dxx Dyy - 0.81 Dxy^2 with box filters, times 16, normalised by the filter's area.
/// Dxx Dyy is taken modulo 2^32, which filter 27 does exceed on extreme patterns. Dxx and Dyy are at most 510
/// times the box's area; a response is at most 2^23. An image smaller than the filter writes nothing.
void ComputeResponses(const IntegralImage& integral, const ResponseLayer& layer);

}  // namespace zolt
