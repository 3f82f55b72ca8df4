#include "media/media_read.h"

#include <filesystem>
#include <utility>

#include "common/errors.h"
#include "media/colour.h"
#include "media/file_kind.h"

namespace zolt {
namespace {

std::unique_ptr<FrameSource> Open(const std::string& path, const ReadOptions& options) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) FailFile(path + ": is a folder, not an image");
  switch (KindOf(path)) {
    case FileKind::kHeif:
      return OpenHeif(path, options);
    case FileKind::kMovingWebp:
      return OpenMovingWebp(path, options);
    case FileKind::kRaw:
      return OpenRawPhoto(path, options);
    default:
      return OpenWithFfmpeg(path, options);
  }
}

// Pictures that are looked at or compared one by one are looked at as a viewer shows them.
int OrientationOf(const std::string& path, const std::optional<int>& told) {
  return told ? *told : ReadMetadataOf(path).orientation;
}

}  // namespace

void CheckPixels(const std::string& path, int64_t width, int64_t height, const ReadOptions& options) {
  if (width < 1 || height < 1) FailFile(path + ": holds no picture");
  if (width <= options.most_pixels / height) return;
  FailFile(path + ": " + std::to_string(width) + " x " + std::to_string(height) + " pixels are more than " +
           std::to_string(options.most_pixels / kMegapixel) +
           " megapixels; if the file is what it says, raise --max-megapixels");
}

MediaReader::MediaReader(const std::string& path, const ReadOptions& options)
    : source_(Open(path, options)) {}

std::optional<MediaFrame> MediaReader::Next() {
  auto frame = NextAsItIs();
  if (!frame || !frame->rgb) return frame;
  frame->picture = YuvFromRgb(*frame->rgb);
  frame->rgb.reset();
  return frame;
}

std::optional<MediaFrame> MediaReader::NextAsItIs() {
  auto frame = source_->Next();
  if (!frame) return std::nullopt;
  if (frame->half_chroma) {
    frame->yuv = YuvFromRgb(*frame->rgb);
    frame->rgb.reset();
  }
  return MediaFrame{frame->yuv ? std::move(*frame->yuv) : YuvPicture(),
                    frame->iso,
                    frame->bits,
                    frame->orientation,
                    frame->white_balance,
                    std::move(frame->rgb)};
}

std::optional<RgbPicture> MediaReader::NextRgb() {
  auto frame = source_->Next();
  if (!frame) return std::nullopt;
  return frame->rgb ? std::move(*frame->rgb) : RgbFromYuv(*frame->yuv);
}

Metadata ReadMetadataOf(const std::string& path) {
  return KindOf(path) == FileKind::kHeif ? ReadHeifMetadata(path) : ReadMetadata(path);
}

YuvPicture ReadPicture(const std::string& path) {
  MediaReader reader(path);
  const auto frame = reader.Next();
  if (!frame) FailFile(path + ": holds no picture");
  return Turned(frame->picture, OrientationOf(path, frame->orientation));
}

RgbPicture ReadRgbPicture(const std::string& path) {
  MediaReader reader(path);
  const auto rgb = reader.NextRgb();
  if (!rgb) FailFile(path + ": holds no picture");
  return Turned(*rgb, OrientationOf(path, std::nullopt));
}

}  // namespace zolt
