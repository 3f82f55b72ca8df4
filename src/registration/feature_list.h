#pragma once

#include <cstdint>

namespace zolt {

/// A corner or blob of the detection image. Six 32-bit words, the reserved ones zero.
struct KeyPoint {
  int32_t reserved0, reserved1;
  int32_t x, y;  ///< position in pixels of the detection image, Q8
  int32_t reserved2;
  int32_t scale;  ///< interpolated side of the box filter that answered most strongly, in pixels
};
static_assert(sizeof(KeyPoint) == 24);

/// Words of one descriptor: 4 x 4 cells in row-major order, in each sum dx, sum |dx|, sum dy, sum |dy|; the
/// whole vector has length 2^23 (or 0).
inline constexpr int32_t kDescriptorWords = 64;

/// Places for keypoints in every list; the detector fills at most kMaxKeypoints of them.
inline constexpr int32_t kKeypointCapacity = 6000;
inline constexpr int32_t kMaxKeypoints = kKeypointCapacity - 1;

/// Keypoints and their descriptors in memory of somebody else: keypoints[i] goes with
/// descriptors[kDescriptorWords * i ..].
struct FeatureList {
  KeyPoint* keypoints;
  int32_t* descriptors;
  int32_t count;
};

}  // namespace zolt
