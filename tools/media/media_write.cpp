#include "media/media_write.h"

#include <cstring>
#include <vector>

#include "common/errors.h"
#include "common/file_io.h"
#include "media/colour.h"
#include "media/ffmpeg_handles.h"
#include "media/raw_frame.h"

namespace zolt {
namespace {

void FillPlane(AVFrame& frame, int index, const std::vector<uint8_t>& plane, int width, int height) {
  for (int y = 0; y < height; ++y) {
    std::memcpy(frame.data[index] + ptrdiff_t{y} * frame.linesize[index], &plane[size_t(y) * width],
                size_t(width));
  }
}

FrameHandle EmptyFrame(int width, int height, AVPixelFormat format) {
  FrameHandle frame(av_frame_alloc());
  if (!frame) FailFile("no memory for a frame");
  frame->width = width;
  frame->height = height;
  frame->format = format;
  frame->color_range = AVCOL_RANGE_JPEG;
  if (av_frame_get_buffer(frame.get(), 0) < 0) FailFile("no memory for a frame");
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
  if (id == AV_CODEC_ID_MJPEG) {
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = FF_QP2LAMBDA;  // quantiser 1, the finest
    encoder->qmin = 1;
  }
  int result = avcodec_open2(encoder.get(), codec, nullptr);
  if (result >= 0) result = avcodec_send_frame(encoder.get(), &frame);
  if (result >= 0) result = avcodec_send_frame(encoder.get(), nullptr);
  if (result >= 0) result = avcodec_receive_packet(encoder.get(), packet.get());
  if (result < 0) FailFile(path + ": can't be encoded: " + FfmpegReason(result));
  return std::vector<uint8_t>(packet->data, packet->data + packet->size);
}

std::vector<uint8_t> PngBytes(const YuvPicture& picture, const std::string& path) {
  const RgbPicture rgb = RgbFromYuv(picture);
  const FrameHandle frame = EmptyFrame(rgb.width, rgb.height, AV_PIX_FMT_RGB24);
  FillPlane(*frame, 0, rgb.rgb, 3 * rgb.width, rgb.height);
  return Encoded(*frame, AV_CODEC_ID_PNG, path);
}

std::vector<uint8_t> JpegBytes(const YuvPicture& picture, const std::string& path) {
  const FrameHandle frame = EmptyFrame(picture.width, picture.height, AV_PIX_FMT_YUVJ420P);
  frame->quality = FF_QP2LAMBDA;
  FillPlane(*frame, 0, picture.y, picture.width, picture.height);
  FillPlane(*frame, 1, picture.u, picture.ChromaWidth(), picture.ChromaHeight());
  FillPlane(*frame, 2, picture.v, picture.ChromaWidth(), picture.ChromaHeight());
  return Encoded(*frame, AV_CODEC_ID_MJPEG, path);
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

}  // namespace

bool IsKnownPictureName(const std::string& path) {
  const std::string e = ExtensionOf(path);
  return e == "png" || e == "jpg" || e == "jpeg" || e == "y4m" || RawLayoutOf(path).has_value();
}

std::vector<uint8_t> EncodedPicture(const std::string& format, const YuvPicture& picture) {
  return format == "png" ? PngBytes(picture, format) : JpegBytes(picture, format);
}

void WritePicture(const std::string& path, const YuvPicture& picture) {
  const std::string e = ExtensionOf(path);
  if (e == "png") return WriteWhole(path, PngBytes(picture, path));
  if (e == "jpg" || e == "jpeg") return WriteWhole(path, JpegBytes(picture, path));
  if (e == "y4m") return WriteWhole(path, Y4mBytes(picture));
  const auto layout = RawLayoutOf(path);
  if (!layout) FailUsage(path + ": unknown extension; use .png, .jpg, .y4m, .i420 (or .yuv), .nv12 or .nv21");
  if (picture.width % 2 != 0 || picture.height % 2 != 0) {
    FailUsage(path + ": a raw frame needs even sides, this one has " + std::to_string(picture.width) + " x " +
              std::to_string(picture.height) + "; write .png, .jpg or .y4m");
  }
  WriteWhole(path, RawBytes(picture, *layout));
}

}  // namespace zolt
