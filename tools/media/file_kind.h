#pragma once

#include <string>

namespace zolt {

enum class FileKind {
  kImage,  // a picture, or several, that FFmpeg reads
  kHeif,   // HEIC, AVIF
  kMovingWebp,
  kRaw,  // a camera's sensor data
  kVideo,
  kFrames,  // bare .nv21, .nv12, .i420, .yuv
  kOther,
};

/// By the first bytes; by the extension where they tell nothing (bare frames and what can't be read) or where
/// a camera's raw file looks like a TIFF.
FileKind KindOf(const std::string& path);

/// Whether the name claims a picture. A file of kind kOther that does is damaged, and no passer-by.
bool IsPictureName(const std::string& path);

}  // namespace zolt
