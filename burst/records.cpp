// The parts of the C interface that hold no burst: texts, defaults, common forms of pictures.
#include <cstring>

#include "zolt_burst.h"

namespace {

/// Samples that lie `bytes` apart in a packed picture; false for an unknown order.
bool ChannelOffsets(const char* order, ptrdiff_t offsets[4], ptrdiff_t* bytes) {
  static constexpr const char* kOrders[] = {"RGB", "BGR", "RGBA", "BGRA", "ARGB", "ABGR"};
  if (order == nullptr) return false;
  for (const char* known : kOrders) {
    if (std::strcmp(known, order) != 0) continue;
    *bytes = static_cast<ptrdiff_t>(std::strlen(known));
    const char* channel = "RGBA";
    for (int i = 0; i < 4; ++i) {
      const char* at = std::strchr(known, channel[i]);
      offsets[i] = at != nullptr ? at - known : -1;
    }
    return true;
  }
  return false;
}

zolt_burst_picture Empty(int32_t layout, int32_t width, int32_t height) {
  zolt_burst_picture picture = {};
  picture.size = sizeof picture;
  picture.layout = layout;
  picture.width = width;
  picture.height = height;
  return picture;
}

void SetPlane(zolt_burst_picture* picture, int index, const uint8_t* data, ptrdiff_t row, ptrdiff_t step) {
  // Frames are only read; a record that also describes outputs has no read-only form.
  picture->planes[index] = const_cast<uint8_t*>(data);
  picture->row_stride[index] = row;
  picture->pixel_stride[index] = step;
}

}  // namespace

const char* zolt_burst_error_text(int32_t result) {
  switch (result) {
    case ZOLT_BURST_OK:
      return "done";
    case ZOLT_BURST_BAD_ARGUMENT:
      return "an argument or option is null or out of its range";
    case ZOLT_BURST_BAD_PICTURE:
      return "a picture has no planes, a side below 16, or strides with which its samples overlap";
    case ZOLT_BURST_UNLIKE_SIZES:
      return "the pictures of a burst and its output must have one width and height";
    case ZOLT_BURST_NO_FRAMES:
      return "the burst has no frames";
    case ZOLT_BURST_NO_MEMORY:
      return "not enough memory";
    case ZOLT_BURST_MEMORY_LIMIT:
      return "the burst needs more memory than the limit allows";
    case ZOLT_BURST_BAD_TUNING:
      return "the tuning file can't be read, or switches noise reduction off";
    case ZOLT_BURST_CANCELLED:
      return "cancelled";
    case ZOLT_BURST_NO_THREADS:
      return "threads can't be started";
    default:
      return "unknown result";
  }
}

const char* zolt_burst_use_text(int32_t use) {
  switch (use) {
    case ZOLT_BURST_USED:
      return "used";
    case ZOLT_BURST_IS_REFERENCE:
      return "reference";
    case ZOLT_BURST_FUSED:
      return "fused";
    case ZOLT_BURST_BLURRED:
      return "blurred";
    case ZOLT_BURST_OTHER_EXPOSURE:
      return "other exposure";
    case ZOLT_BURST_OTHER_SCENE:
      return "other scene";
    case ZOLT_BURST_MOVED:
      return "too much moved";
    case ZOLT_BURST_TOO_MANY:
      return "ten others are better";
    default:
      return "unknown use";
  }
}

const char* zolt_burst_version(void) {
  return ZOLT_VERSION;
}

zolt_burst_picture zolt_burst_grey(const uint8_t* pixels, int32_t width, int32_t height,
                                   ptrdiff_t row_stride) {
  zolt_burst_picture picture = Empty(ZOLT_BURST_GREY, width, height);
  SetPlane(&picture, 0, pixels, row_stride != 0 ? row_stride : width, 1);
  return picture;
}

zolt_burst_picture zolt_burst_rgb(const uint8_t* pixels, int32_t width, int32_t height, ptrdiff_t row_stride,
                                  const char* order) {
  zolt_burst_picture picture = Empty(ZOLT_BURST_RGB, width, height);
  ptrdiff_t offsets[4], bytes = 0;
  if (pixels == nullptr || !ChannelOffsets(order, offsets, &bytes)) return picture;
  const ptrdiff_t row = row_stride != 0 ? row_stride : static_cast<ptrdiff_t>(width) * bytes;
  for (int i = 0; i < 4; ++i) {
    if (offsets[i] >= 0) SetPlane(&picture, i, pixels + offsets[i], row, bytes);
  }
  return picture;
}

zolt_burst_picture zolt_burst_yuv420(const uint8_t* y, const uint8_t* u, const uint8_t* v, int32_t width,
                                     int32_t height, ptrdiff_t y_row_stride, ptrdiff_t uv_row_stride,
                                     ptrdiff_t uv_pixel_stride) {
  zolt_burst_picture picture = Empty(ZOLT_BURST_YUV420, width, height);
  const ptrdiff_t half = (static_cast<ptrdiff_t>(width) + 1) / 2;
  SetPlane(&picture, 0, y, y_row_stride != 0 ? y_row_stride : width, 1);
  const ptrdiff_t uv_row = uv_row_stride != 0 ? uv_row_stride : half * uv_pixel_stride;
  SetPlane(&picture, 1, u, uv_row, uv_pixel_stride);
  SetPlane(&picture, 2, v, uv_row, uv_pixel_stride);
  return picture;
}

zolt_burst_picture zolt_burst_yuv420_block(const uint8_t* block, int32_t width, int32_t height,
                                           const char* order) {
  const zolt_burst_picture none = Empty(ZOLT_BURST_YUV420, width, height);
  if (block == nullptr || order == nullptr || width < 1 || height < 1) return none;
  const uint8_t* chroma = block + static_cast<size_t>(width) * static_cast<size_t>(height);
  const size_t half = (static_cast<size_t>(width) + 1) / 2 * ((static_cast<size_t>(height) + 1) / 2);
  const auto picture = [&](const uint8_t* u, const uint8_t* v, ptrdiff_t step) {
    return zolt_burst_yuv420(block, u, v, width, height, 0, 0, step);
  };
  if (std::strcmp(order, "I420") == 0) return picture(chroma, chroma + half, 1);
  if (std::strcmp(order, "YV12") == 0) return picture(chroma + half, chroma, 1);
  if (std::strcmp(order, "NV12") == 0) return picture(chroma, chroma + 1, 2);
  if (std::strcmp(order, "NV21") == 0) return picture(chroma + 1, chroma, 2);
  return none;
}

void zolt_burst_options_init(zolt_burst_options* options) {
  if (options == nullptr) return;
  *options = {};
  options->size = sizeof *options;
  options->reference = -1;
}

void zolt_burst_report_init(zolt_burst_report* report) {
  if (report == nullptr) return;
  *report = {};
  report->size = sizeof *report;
}

void zolt_burst_frame_report_init(zolt_burst_frame_report* report) {
  if (report == nullptr) return;
  *report = {};
  report->size = sizeof *report;
}
