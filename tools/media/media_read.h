#pragma once

#include <memory>
#include <optional>
#include <string>

#include "media/picture.h"

namespace zolt {

/// A decoded frame and the sensitivity that its file tells.
struct MediaFrame {
  YuvPicture picture;
  std::optional<int> iso;  // EXIF
};

/// Reads the frames of one image (JPEG, PNG, TIFF, BMP, PPM, PGM, WebP), Y4M or video file in order. Only
/// this file is opened: no network, no play lists. JPEG's own samples are kept as they are; RGB is converted
/// by YuvFromRgb; other layouts, limited range and BT.709 by FFmpeg to full-range BT.601. Orientation tags
/// are not applied.
class MediaReader {
 public:
  explicit MediaReader(const std::string& path);  // ToolError (file)
  ~MediaReader();
  MediaReader(const MediaReader&) = delete;
  MediaReader& operator=(const MediaReader&) = delete;

  /// The next frame; none at the end. ToolError (file) for damaged data.
  std::optional<MediaFrame> Next();

  /// The same as RGB; what the file holds as RGB does not go through 4:2:0.
  std::optional<RgbPicture> NextRgb();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

/// The first frame of a file, for commands that want one picture.
YuvPicture ReadPicture(const std::string& path);
RgbPicture ReadRgbPicture(const std::string& path);

}  // namespace zolt
