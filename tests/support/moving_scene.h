#pragma once

#include <cstdint>

#include "support/test_planes.h"

namespace zolt::test {

/// Two noisy pictures of one textured scene by a hand-held camera, and the motion between them: a point of
/// the reference to its place in the current frame, row-major, h8 = 1.
struct ScenePair {
  Frame reference, current;
  double homography[9];
};

/// Rotation up to 2 degrees, zoom up to 2 %, perspective of up to 0.3 % over the width, shift up to w / 40
/// each way, noise of sigma 3 to 6, all drawn with `seed`, as is the scene.
ScenePair MakeScenePair(int w, int h, uint32_t seed);

/// What ImgRegistration makes of a pair.
struct RegistrationTrial {
  int32_t result;       ///< 0 when aligned
  double corner_error;  ///< mean distance of the four mapped corners from the truth, in pixels
};
RegistrationTrial TryRegistration(ScenePair* pair);

}  // namespace zolt::test
