#include "media/ffmpeg_frame.h"

#include <cstring>
#include <utility>

#include "common/errors.h"
#include "media/orientation.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace zolt {

bool IsRgbLike(AVPixelFormat format) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
  return d && ((d->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0 || d->nb_components < 3);
}

bool IsFullRange(const AVFrame& frame) {
  return PlainFormat(frame.format) != frame.format || frame.color_range == AVCOL_RANGE_JPEG;
}

AVPixelFormat PlainFormat(int format) {
  switch (format) {
    case AV_PIX_FMT_YUVJ420P:
      return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
      return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
      return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
      return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
      return AV_PIX_FMT_YUV411P;
    default:
      return static_cast<AVPixelFormat>(format);
  }
}

int MatrixOf(const AVFrame& frame) {
  switch (frame.colorspace) {
    case AVCOL_SPC_BT709:
      return SWS_CS_ITU709;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
      return SWS_CS_BT2020;
    default:
      return SWS_CS_ITU601;
  }
}

// A matrix of 16.16 numbers, column vectors on the left.
std::optional<int> OrientationOf(const AVStream& stream) {
  size_t size = 0;
  const uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  int32_t m[9];
  if (!data || size < sizeof m) return std::nullopt;
  std::memcpy(m, data, sizeof m);
  const auto sign = [](int32_t v) { return v > 32768 ? 1 : v < -32768 ? -1 : 0; };
  const int a = sign(m[0]), b = sign(m[1]), c = sign(m[3]), d = sign(m[4]);
  if (b == 0 && c == 0) return a < 0 ? (d < 0 ? 3 : 2) : (d < 0 ? 4 : kUpright);
  return b > 0 ? (c < 0 ? 6 : 5) : (c < 0 ? 7 : 8);
}

// Formats and ranges are set before it is made ready: told later, it would already have chosen to copy equal
// layouts without a look at their range.
ScalerHandle ScalerFor(const AVFrame& frame, const ScaledTo& to) {
  ScalerHandle scaler(sws_alloc_context());
  if (!scaler) FailFile("no memory for a frame");
  const AVPixelFormat from = PlainFormat(frame.format);
  const int full = IsRgbLike(from) || IsFullRange(frame) ? 1 : 0;
  const std::pair<const char*, int> settings[] = {
      {"srcw", frame.width},
      {"srch", frame.height},
      {"src_format", from},
      {"src_range", full},
      {"dstw", frame.width},
      {"dsth", frame.height},
      {"dst_format", to.format},
      {"dst_range", to.full ? 1 : 0},
      {"sws_flags", SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP | SWS_BITEXACT}};
  for (const auto& [name, value] : settings) av_opt_set_int(scaler.get(), name, value, 0);
  if (!to.dither) av_opt_set(scaler.get(), "sws_dither", "none", 0);
  if (sws_init_context(scaler.get(), nullptr, nullptr) < 0) FailFile("pixel layout not supported");
  sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(MatrixOf(frame)), full,
                           sws_getCoefficients(to.matrix), to.full ? 1 : 0, 0, 1 << 16, 1 << 16);
  return scaler;
}

FrameHandle NewFrame(int width, int height, AVPixelFormat format) {
  FrameHandle frame(av_frame_alloc());
  if (!frame) FailFile("no memory for a frame");
  frame->width = width;
  frame->height = height;
  frame->format = format;
  if (av_frame_get_buffer(frame.get(), 0) < 0) FailFile("no memory for a frame");
  return frame;
}

}  // namespace zolt
