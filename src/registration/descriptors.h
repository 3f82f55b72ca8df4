#pragma once

#include <cstdint>

#include "registration/feature_list.h"
#include "registration/integral_image.h"
#include "zolt_mfdenoise.h"

namespace zolt {

/// Side of the square grid of gradients behind a descriptor.
inline constexpr int32_t kPatchSide = 20;

/// Weight of gradient (y, x), 0 <= x, y < kPatchSide: 2^24 g(x) g(y), g a normalised Gaussian of sigma 3.3
/// around the grid's middle.
int32_t PatchWeight(int32_t y, int32_t x);

/// Pixels of the image per patch pixel for a keypoint of this scale, rounded; scale 27 has 4.
int32_t SamplingSize(int32_t scale);

/// Upright SURF descriptors in Q23 of every keypoint in the list. A keypoint with SamplingSize 0 gets zeros.
/// Takes the working memory of its four jobs through the hooks, one block each; runs on RegistrationPool(),
/// which has been started. 0, or -1000 with a log line for each block that is refused.
int32_t DescribeKeypoints(const DetectionImage& image, const FeatureList& features,
                          const MfAllocHooks& hooks);

}  // namespace zolt
