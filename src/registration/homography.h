#pragma once

#include <cstdint>

#include "registration/match_set.h"

namespace zolt {

/// Upper bounds on the rotations of the eigenvector search, in units of 81: a sample of four only needs a
/// model good enough to count who agrees with it.
inline constexpr int32_t kSampleJacobiLimit = 2;
inline constexpr int32_t kFullJacobiLimit = 30;

/// The image of `p` under a row-major homography with h8 = 1. Far from a camera motion it may be infinite or
/// not a number.
inline Point MapPoint(const float* h, Point p) {
  const float den = (h[6] * p.x + h[7] * p.y) + 1.0f;
  return {((h[0] * p.x + h[1] * p.y) + h[2]) / den, ((h[3] * p.x + h[4] * p.y) + h[5]) / den};
}

/// Least-squares homography from n pairs by the normalised direct linear transform (Hartley): each axis of
/// each side is shifted to mean 0 and scaled to mean deviation 1, and the model is the eigenvector of the
/// smallest eigenvalue of the 9 x 9 normal matrix. All in f32, in a fixed order of operations. `model`, nine
/// floats row-major with h8 = 1, is left untouched when the points of one side all have the same x or y. 0
/// always.
int32_t SolveHomography(const Point* source, const Point* destination, int32_t n, float* model,
                        int32_t jacobi_limit);

/// Whether four points are far enough from lying three on a line to make a homography of: for each triple,
/// the doubled area must exceed a tenth of the summed extents, both from whole-pixel differences.
bool CheckCollinear(const Point* points);

}  // namespace zolt
