#pragma once

#include <pybind11/pybind11.h>

#include "picture_views.h"
#include "simulate/camera.h"

namespace zolt {

/// Frames (count, height, width, 3), truth, truth at the last frame's exposure, and the frames' motion
/// (count, 3, 3), of `photo` or of the built-in scene for None: the pictures that the program's `simulate`
/// writes. ValueError for a photo that is too small.
pybind11::tuple SimulatedBurst(const std::optional<PictureViews>& photo, const CameraSettings& settings);

}  // namespace zolt
