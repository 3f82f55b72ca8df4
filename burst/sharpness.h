#pragma once

#include "burst/picture/plane.h"

namespace zolt {

/// Mean squared gradient of a picture reduced 2:1 by area, in squared grey levels per reduced pixel: the sum
/// of both differences' squares. What blur takes away first and noise adds to: 4 times the variance of white
/// noise in the reduced picture.
double GradientEnergy(PlaneView luma);

/// Mean level of a sample of every eighth pixel of every eighth row.
double MeanLevel(PlaneView luma);

}  // namespace zolt
