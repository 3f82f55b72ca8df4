#pragma once

#include <memory>
#include <optional>
#include <string>

#include "media/frame_source.h"
#include "media/picture.h"

namespace zolt {

/// A decoded frame and what its decoder knows of it.
struct MediaFrame {
  YuvPicture picture;  // empty if `rgb` is there
  std::optional<int> iso;
  int bits = 8;                    // of a sample in the file; deeper ones were rounded to 8
  std::optional<int> orientation;  // as the container tells it, which overrules tags
  std::optional<WhiteBalance> white_balance;
  std::optional<RgbPicture> rgb = {};  // only from NextAsItIs
};

/// Reads the frames of one file in order: an image (JPEG, PNG, APNG, TIFF, BMP, PPM, PGM, WebP, HEIC, AVIF),
/// a camera's raw file, Y4M or video. Only this file is opened: no network, no play lists. JPEG's own samples
/// are kept as they are, as are HEIC's of the same layout; RGB is converted by YuvFromRgb; other layouts,
/// limited range and BT.709 by FFmpeg to full-range BT.601. Pixels are not turned, but those of HEIC, whose
/// container tells the turning as a part of decoding.
class MediaReader {
 public:
  explicit MediaReader(const std::string& path, const ReadOptions& options = {});  // ToolError (file)

  /// The next frame; none at the end. ToolError (file) for damaged data.
  std::optional<MediaFrame> Next();

  /// The same, but what the file holds as RGB, or with finer chroma, stays RGB.
  std::optional<MediaFrame> NextAsItIs();

  /// The same as RGB; what the file holds as RGB does not go through 4:2:0.
  std::optional<RgbPicture> NextRgb();

 private:
  std::unique_ptr<FrameSource> source_;
};

/// The metadata of any file that MediaReader reads. ToolError (file) if it can't be opened at all.
Metadata ReadMetadataOf(const std::string& path);

/// The first frame of a file, for commands that want one picture, turned upright.
YuvPicture ReadPicture(const std::string& path);
RgbPicture ReadRgbPicture(const std::string& path);

}  // namespace zolt
