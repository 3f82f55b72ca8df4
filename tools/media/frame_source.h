#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "media/metadata.h"
#include "media/picture.h"

namespace zolt {

constexpr int64_t kMegapixel = 1000000;

/// Camera's gains of red, green, blue and second green.
using WhiteBalance = std::array<float, 4>;

struct ReadOptions {
  int64_t most_pixels = 512 * kMegapixel;  // of a frame; more is refused before it is unpacked
  bool half_size = false;  // raw files only: a preview of half the width and height, much faster
  std::optional<WhiteBalance> white_balance = {};  // raw files only; else the camera's
};

/// A frame as its file has it: either samples of YUV, or RGB.
struct SourceFrame {
  std::optional<YuvPicture> yuv = {};
  std::optional<RgbPicture> rgb = {};
  bool half_chroma = false;             // `rgb` was made of 4:2:0 that is of another matrix, range or depth
  int bits = 8;                         // in the file
  std::optional<int> iso = {};          // as the decoder tells it
  std::optional<int> orientation = {};  // as the container tells it; tags that tell otherwise are wrong
  std::optional<WhiteBalance> white_balance = {};  // what a raw frame was developed with
};

/// Frames of one file in order.
class FrameSource {
 public:
  virtual ~FrameSource() = default;
  /// The next one; none at the end. ToolError (file) for damaged data.
  virtual std::optional<SourceFrame> Next() = 0;
};

std::unique_ptr<FrameSource> OpenWithFfmpeg(const std::string& path, const ReadOptions& options);
/// The primary image of a HEIC or AVIF file, then the others of a burst.
std::unique_ptr<FrameSource> OpenHeif(const std::string& path, const ReadOptions& options);
/// All frames of an animated WebP.
std::unique_ptr<FrameSource> OpenMovingWebp(const std::string& path, const ReadOptions& options);
/// A camera's raw file, developed to sRGB.
std::unique_ptr<FrameSource> OpenRawPhoto(const std::string& path, const ReadOptions& options);

/// The metadata of a HEIC or AVIF file's primary image. Its pixels come out upright.
Metadata ReadHeifMetadata(const std::string& path);

/// A HEIC (or "avif") file of quality 0 to 100. ToolError (file).
std::vector<uint8_t> HeifBytes(const YuvPicture& picture, const Metadata& metadata, const std::string& format,
                               int quality, const std::string& path);

/// ToolError (file) for sides whose product is above the limit, or that are none.
void CheckPixels(const std::string& path, int64_t width, int64_t height, const ReadOptions& options);

/// 16 bits to 8, rounded to the nearest: 257 * v comes out as v.
constexpr uint8_t EightBits(uint16_t v) {
  return static_cast<uint8_t>((v * 255u + 32767u) / 65535u);
}

/// Names with versions, empty when built without.
std::string HeifLibrary();
std::string RawLibrary();
std::string WebpLibrary();

}  // namespace zolt
