#pragma once

#include <array>
#include <vector>

namespace zolt {

/// Red, green and blue planes of an RGGB mosaic (red at even columns of even rows), by the linear 5 x 5
/// filters of Malvar, He and Cutler (2004). Linear in the mosaic, so noise may be taken through it apart from
/// the picture. Width and height are even and at least 4; borders mirror without repeating the edge, which
/// keeps the colours' places.
std::array<std::vector<float>, 3> Demosaic(const std::vector<float>& mosaic, int width, int height);

}  // namespace zolt
