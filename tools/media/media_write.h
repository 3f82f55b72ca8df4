#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/metadata.h"
#include "media/picture.h"

namespace zolt {

constexpr int kDefaultQuality = 95;

/// What goes into a file beside the samples.
struct PictureFile {
  std::string format = {};        // "png", "jpg", ...; empty: the extension's
  int quality = kDefaultQuality;  // of JPEG, HEIC and AVIF, 1 to 100
  Metadata metadata = {};
};

/// The format that a name's extension, or `told` if it isn't empty, stands for: png, jpg, tif, heic, avif,
/// y4m, i420, nv12 or nv21. ToolError (usage) for any other, listing these.
std::string OutputFormat(const std::string& path, const std::string& told);

/// Whether the format that OutputFormat tells keeps RGB; the others hold 4:2:0.
bool HoldsRgb(const std::string& format);

/// The bytes of a "png" or "jpeg" file. ToolError (file) if it can't be encoded.
std::vector<uint8_t> EncodedPicture(const std::string& format, const YuvPicture& picture);

/// The bytes of a picture's file. JPEG, HEIC, AVIF and TIFF keep the orientation's tag; what carries no tags,
/// PNG, whose tag few viewers heed, and a picture without tags are turned upright. What the format could not
/// take is told in `left_out`. ToolError (usage) for an odd size in a raw format, ToolError (file) if it
/// can't be encoded.
std::vector<uint8_t> PictureBytes(const std::string& path, const AnyPicture& picture, const PictureFile& file,
                                  std::vector<std::string>* left_out);

/// Writes a picture, whole or not at all, in the format that the extension names: PNG (through RgbFromYuv),
/// JPEG and HEIC (the samples' own 4:2:0), Y4M (one frame, marked as full range), raw frames.
/// ToolError (usage) for an unknown extension or an odd size in a raw format, ToolError (file) when writing
/// fails.
void WritePicture(const std::string& path, const YuvPicture& picture);

}  // namespace zolt
