#pragma once

#include <cstdint>
#include <vector>

#include "burst/work_geometry.h"
#include "media/picture.h"
#include "zolt_burst.h"

namespace zolt {

struct YuvImage;

/// A picture as the layer takes it, to read or to write into; valid as long as the picture.
zolt_burst_picture ViewOf(const YuvPicture& picture);
zolt_burst_picture ViewOf(const RgbPicture& picture);
std::vector<zolt_burst_picture> ViewsOf(const std::vector<YuvPicture>& pictures);
std::vector<zolt_burst_picture> ViewsOf(const std::vector<AnyPicture>& pictures);

/// The part of a frame that the layer works on which shows the picture.
YuvPicture PictureInside(const YuvImage& frame, const WorkGeometry& work);
/// The same of a single plane, as a grey picture.
YuvPicture PictureInside(const uint8_t* plane, const WorkGeometry& work);

}  // namespace zolt
