#include "media/media_write.h"

#include <cstring>
#include <vector>

#include "common/errors.h"
#include "common/file_io.h"
#include "media/colour.h"
#include "media/ffmpeg_frame.h"
#include "media/frame_source.h"
#include "media/jpeg_file.h"
#include "media/raw_frame.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace zolt {
namespace {

void FillPlane(AVFrame& frame, int index, const std::vector<uint8_t>& plane, int width, int height) {
  for (int y = 0; y < height; ++y) {
    std::memcpy(frame.data[index] + ptrdiff_t{y} * frame.linesize[index], &plane[size_t(y) * width],
                size_t(width));
  }
}

FrameHandle EmptyFrame(int width, int height, AVPixelFormat format) {
  FrameHandle frame = NewFrame(width, height, format);
  frame->color_range = AVCOL_RANGE_JPEG;
  return frame;
}

std::vector<uint8_t> Encoded(const AVFrame& frame, AVCodecID id, const std::string& path) {
  const AVCodec* codec = avcodec_find_encoder(id);
  CodecHandle encoder(codec ? avcodec_alloc_context3(codec) : nullptr);
  PacketHandle packet(av_packet_alloc());
  if (!encoder || !packet) FailFile(path + ": no encoder for this format");
  encoder->width = frame.width;
  encoder->height = frame.height;
  encoder->pix_fmt = static_cast<AVPixelFormat>(frame.format);
  encoder->color_range = frame.color_range;
  encoder->time_base = {1, 25};
  encoder->thread_count = 1;
  encoder->compression_level = 1;
  if (id == AV_CODEC_ID_TIFF) av_opt_set(encoder->priv_data, "compression_algo", "deflate", 0);
  int result = avcodec_open2(encoder.get(), codec, nullptr);
  if (result >= 0) result = avcodec_send_frame(encoder.get(), &frame);
  if (result >= 0) result = avcodec_send_frame(encoder.get(), nullptr);
  if (result >= 0) result = avcodec_receive_packet(encoder.get(), packet.get());
  if (result < 0) FailFile(path + ": can't be encoded: " + FfmpegReason(result));
  return std::vector<uint8_t>(packet->data, packet->data + packet->size);
}

// PNG and TIFF: RGB, or grey alone.
std::vector<uint8_t> RgbBytes(const AnyPicture& picture, AVCodecID id, const std::string& path) {
  const int width = WidthOf(picture), height = HeightOf(picture);
  const FrameHandle frame = EmptyFrame(width, height, IsGrey(picture) ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_RGB24);
  if (const auto* rgb = std::get_if<RgbPicture>(&picture)) {
    FillPlane(*frame, 0, rgb->rgb, 3 * width, height);
  } else if (const auto& yuv = std::get<YuvPicture>(picture); yuv.grey) {
    FillPlane(*frame, 0, yuv.y, width, height);
  } else {
    FillPlane(*frame, 0, RgbFromYuv(yuv).rgb, 3 * width, height);
  }
  return Encoded(*frame, id, path);
}

std::vector<uint8_t> Y4mBytes(const YuvPicture& picture) {
  const std::string head = "YUV4MPEG2 W" + std::to_string(picture.width) + " H" +
                           std::to_string(picture.height) +
                           " F25:1 Ip A1:1 C420jpeg XCOLORRANGE=FULL\nFRAME\n";
  std::vector<uint8_t> bytes(head.begin(), head.end());
  for (const auto* plane : {&picture.y, &picture.u, &picture.v}) {
    bytes.insert(bytes.end(), plane->begin(), plane->end());
  }
  return bytes;
}

std::vector<uint8_t> FrameBytes(const YuvPicture& picture, const std::string& format,
                                const std::string& path) {
  if (format == "y4m") return Y4mBytes(picture);
  if (picture.width % 2 != 0 || picture.height % 2 != 0) {
    FailUsage(path + ": a raw frame needs even sides, this one has " + std::to_string(picture.width) + " x " +
              std::to_string(picture.height) + "; write .png, .jpg or .y4m");
  }
  // A bare ".i420" is a hidden file without an extension.
  return RawBytes(picture, *RawLayoutOf("frame." + format));
}

bool IsHeif(const std::string& format) {
  return format == "heic" || format == "avif";
}

// Whether readers of the format look at the tag. HEIF has a turning of its own, which some programs apply
// once more when they convert; turned pixels come out right everywhere.
bool KeepsOrientation(const std::string& format, const Metadata& metadata) {
  return (format == "jpg" || format == "tif") && ReadsMetadata() && !metadata.exif.empty();
}

}  // namespace

std::string OutputFormat(const std::string& path, const std::string& told) {
  std::string e = told.empty() ? ExtensionOf(path) : told;
  if (e == "jpeg") e = "jpg";
  if (e == "tiff") e = "tif";
  if (e == "heif" || e == "hif") e = "heic";
  if (e == "yuv") e = "i420";
  for (const char* known : {"png", "jpg", "tif", "heic", "avif", "y4m", "i420", "nv12", "nv21"}) {
    if (e == known) return e;
  }
  const std::string what =
      told.empty() ? path + ": unknown extension" : "--output-format " + told + ": unknown";
  FailUsage(what + "; use .jpg, .png, .tif, .heic, .avif, .y4m, .i420 (or .yuv), .nv12 or .nv21" +
            (path == "-" && told.empty() ? " by --output-format" : ""));
}

bool HoldsRgb(const std::string& format) {
  return format == "png" || format == "tif";
}

std::vector<uint8_t> EncodedPicture(const std::string& format, const YuvPicture& picture) {
  return format == "png" ? RgbBytes(picture, AV_CODEC_ID_PNG, format)
                         : JpegBytes(picture, kDefaultQuality, format);
}

std::vector<uint8_t> PictureBytes(const std::string& path, const AnyPicture& picture, const PictureFile& file,
                                  std::vector<std::string>* left_out) {
  const std::string format = OutputFormat(path, file.format);
  const int orientation = file.metadata.orientation;
  if (orientation != kUpright && !KeepsOrientation(format, file.metadata)) {
    const AnyPicture upright = Turned(picture, orientation);
    PictureFile rest = file;
    rest.metadata = UprightMetadata(file.metadata, WidthOf(upright), HeightOf(upright));
    return PictureBytes(path, upright, rest, left_out);
  }
  if (format == "png") return WithMetadata(RgbBytes(picture, AV_CODEC_ID_PNG, path), file.metadata, left_out);
  if (format == "tif")
    return WithMetadata(RgbBytes(picture, AV_CODEC_ID_TIFF, path), file.metadata, left_out);
  if (IsRgb(picture)) return PictureBytes(path, YuvOf(picture), file, left_out);
  const auto& yuv = std::get<YuvPicture>(picture);
  if (IsHeif(format) && !file.metadata.iptc.empty())
    left_out->push_back("IPTC left out: HEIF has no place for it");
  if (IsHeif(format)) return HeifBytes(yuv, file.metadata, format, file.quality, path);
  if (format == "jpg") return WithMetadata(JpegBytes(yuv, file.quality, path), file.metadata, left_out);
  return FrameBytes(yuv, format, path);
}

void WritePicture(const std::string& path, const YuvPicture& picture) {
  std::vector<std::string> left_out;
  WriteWhole(path, PictureBytes(path, picture, {}, &left_out));
}

}  // namespace zolt
