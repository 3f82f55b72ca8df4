#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/picture.h"

namespace zolt {

/// A JPEG file of quality 1 to 100 with the picture's own 4:2:0 samples, or of one component if it is grey.
/// ToolError (file) for sides above 65535, naming `path`.
std::vector<uint8_t> JpegBytes(const YuvPicture& picture, int quality, const std::string& path);

/// A small JPEG, 160 pixels wide or high at most, of the picture as it is stored.
std::vector<uint8_t> ThumbnailJpeg(const YuvPicture& picture);

}  // namespace zolt
