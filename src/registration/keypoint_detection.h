#pragma once

#include <cstdint>

#include "registration/feature_list.h"
#include "registration/integral_image.h"
#include "registration/response_layer.h"

namespace zolt {

/// Where DetectKeypoints works: kLayerCount arrays of a layer's size, and a list of kKeypointCapacity
/// candidates for each of the two middle layers.
struct DetectionBuffers {
  int32_t* responses[kLayerCount];
  KeyPoint* candidates[2];
};

/// Finds blobs as maxima of the Hessian determinant over space and filter size, interpolated by one Newton
/// step (Brown and Lowe, "Invariant features from interest point groups"). `hessian_threshold` is in units of
/// grey values squared. Writes at most kMaxKeypoints to `keypoints`, those of the smaller filter first, each
/// in row order; where there are more, rows near the top win. Returns their number. Runs on
/// RegistrationPool(), which has been started.
int32_t DetectKeypoints(const IntegralImage& integral, float hessian_threshold,
                        const DetectionBuffers& buffers, KeyPoint* keypoints);

/// The maxima of the middle one of three layers, with responses above `threshold`: fills up to
/// kKeypointCapacity candidates and returns how many count, at most kMaxKeypoints.
int32_t FindExtrema(const ResponseLayer& lower, const ResponseLayer& middle, const ResponseLayer& upper,
                    int32_t threshold, KeyPoint* candidates);

}  // namespace zolt
