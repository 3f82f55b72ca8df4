#pragma once

#include <string>

#include "simulate/camera.h"

namespace zolt {

/// Writes what the camera films into the folder: video.y4m, truth.y4m, which is the same without noise, and
/// video.json with the motion of each frame. ToolError (file).
void WriteVideoFolder(const std::string& folder, const Camera& camera, const CameraSettings& settings);

}  // namespace zolt
