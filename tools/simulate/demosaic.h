#pragma once

#include <array>
#include <vector>

namespace zolt {

/// Both forms give the red, green and blue planes of an RGGB mosaic (red at even columns of even rows). Width
/// and height are even and at least 4; borders mirror without repeating the edge, which keeps the colours'
/// places.

/// By the linear 5 x 5 filters of Malvar, He and Cutler (2004). Linear in the mosaic, so noise may be taken
/// through it apart from the picture.
std::array<std::vector<float>, 3> DemosaicLinear(const std::vector<float>& mosaic, int width, int height);

/// Green along the smoother direction, with the other colour's curvature (Hamilton and Adams 1997), red and
/// blue by interpolated colour differences: edges stay whole, as a phone's own processing keeps them.
std::array<std::vector<float>, 3> DemosaicDirected(const std::vector<float>& mosaic, int width, int height);

}  // namespace zolt
