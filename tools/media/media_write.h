#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/picture.h"

namespace zolt {

/// Whether `path`'s extension is one that WritePicture knows: png, jpg, jpeg, y4m, yuv, i420, nv12, nv21.
bool IsKnownPictureName(const std::string& path);

/// The bytes of a "png" or "jpeg" file. ToolError (file) if FFmpeg can't encode it.
std::vector<uint8_t> EncodedPicture(const std::string& format, const YuvPicture& picture);

/// Writes a picture, whole or not at all, in the format that the extension names: PNG (through RgbFromYuv),
/// JPEG (quality near the top, the samples' own 4:2:0), Y4M (one frame, marked as full range), raw frames.
/// ToolError (usage) for an unknown extension or an odd size in a raw format, ToolError (file) when writing
/// fails.
void WritePicture(const std::string& path, const YuvPicture& picture);

}  // namespace zolt
