#include "burst/picture/picture.h"

#include <algorithm>
#include <cstring>

#include "burst/picture/rgb_rows.h"

namespace zolt {
namespace {

struct Channel {
  uint8_t* data;
  ptrdiff_t row;
  ptrdiff_t step;

  uint8_t* Row(int y) const { return data + y * row; }
};

Channel ChannelOf(const zolt_burst_picture& picture, int i) {
  return {picture.planes[i], picture.row_stride[i], picture.pixel_stride[i]};
}

int64_t Magnitude(ptrdiff_t v) {
  return v < 0 ? -int64_t{v} : int64_t{v};
}

/// Samples don't share bytes, and the whole plane can be addressed.
bool StridesHold(const Channel& channel, int width, int height) {
  constexpr int64_t kLongestStride = int64_t{1} << 40;
  if (channel.row == PTRDIFF_MIN || channel.step == PTRDIFF_MIN) return false;
  const int64_t row = Magnitude(channel.row), step = Magnitude(channel.step);
  if (row > kLongestStride || step > kLongestStride) return false;
  if (row > PTRDIFF_MAX / 4 / height || step > PTRDIFF_MAX / 4 / width) return false;
  const bool by_rows = step >= 1 && (height == 1 || row > (width - 1) * step);
  const bool by_columns = row >= 1 && (width == 1 || step > (height - 1) * row);
  return by_rows || by_columns;
}

RgbRow RowOf(const zolt_burst_picture& p, int y) {
  return {ChannelOf(p, 0).Row(y), ChannelOf(p, 1).Row(y), ChannelOf(p, 2).Row(y), p.pixel_stride[0]};
}

/// The three channels of nearly all pictures are equally far apart; others are gathered row by row first.
bool SameSteps(const zolt_burst_picture& p) {
  return p.pixel_stride[0] == p.pixel_stride[1] && p.pixel_stride[0] == p.pixel_stride[2];
}

void GatherRow(const Channel& from, int y, uint8_t* to, int n) {
  const uint8_t* row = from.Row(y);
  if (from.step == 1) {
    std::memcpy(to, row, static_cast<size_t>(n));
  } else {
    for (int x = 0; x < n; ++x) to[x] = row[x * from.step];
  }
}

void ScatterRow(const uint8_t* from, const Channel& to, int y, int n) {
  uint8_t* row = to.Row(y);
  if (to.step == 1) {
    std::memcpy(row, from, static_cast<size_t>(n));
  } else {
    for (int x = 0; x < n; ++x) row[x * to.step] = from[x];
  }
}

/// RGB rows with one step for all channels, from the picture itself or from copies.
class RgbReader {
 public:
  RgbReader(const zolt_burst_picture& picture, std::pmr::memory_resource* memory)
      : picture_(picture), own_(memory) {
    if (!SameSteps(picture)) own_.resize(2 * 3 * static_cast<size_t>(picture.width));
  }
  /// `slot` 0 or 1: the row stays until that slot's next use.
  RgbRow Row(int y, int slot = 0) {
    if (own_.empty()) return RowOf(picture_, y);
    const auto width = static_cast<size_t>(picture_.width);
    uint8_t* at = own_.data() + static_cast<size_t>(slot) * 3 * width;
    for (int c = 0; c < 3; ++c)
      GatherRow(ChannelOf(picture_, c), y, at + static_cast<size_t>(c) * width, picture_.width);
    return {at, at + width, at + 2 * width, 1};
  }

 private:
  const zolt_burst_picture& picture_;
  std::pmr::vector<uint8_t> own_;
};

PlaneView PlaneOf(const zolt_burst_picture& picture, int channel, int width, int height, OwnedPlane* own) {
  const Channel from = ChannelOf(picture, channel);
  if (from.step == 1) return {from.data, width, height, from.row};
  own->Resize(width, height);
  const MutablePlane to = own->View();
  for (int y = 0; y < height; ++y) GatherRow(from, y, to.Row(y), width);
  return to;
}

/// Rows of full-size chroma, whatever size the planes have.
class ChromaRows {
 public:
  ChromaRows(PlaneView chroma, int width, int height, std::pmr::memory_resource* memory)
      : chroma_(chroma),
        width_(width),
        full_(chroma.width == width && chroma.height == height),
        own_(memory) {
    if (!full_) own_.resize(static_cast<size_t>(width));
  }
  const uint8_t* Row(int y) {
    if (full_) return chroma_.Row(y);
    const int near = y / 2, far = std::clamp(y % 2 == 0 ? near - 1 : near + 1, 0, chroma_.height - 1);
    InterpolateChromaRow(chroma_.Row(near), chroma_.Row(far), chroma_.width, own_.data(), width_);
    return own_.data();
  }

 private:
  PlaneView chroma_;
  int width_;
  bool full_;
  std::pmr::vector<uint8_t> own_;
};

void WriteRgb(PlaneView luma, const ChromaViews& chroma, const zolt_burst_picture& out,
              std::pmr::memory_resource* memory) {
  ChromaRows u(chroma.u, luma.width, luma.height, memory), v(chroma.v, luma.width, luma.height, memory);
  const bool direct = SameSteps(out);
  const auto n = static_cast<size_t>(luma.width);
  std::pmr::vector<uint8_t> own(direct ? 0 : 3 * n, memory);
  for (int y = 0; y < luma.height; ++y) {
    const Channel r = ChannelOf(out, 0), g = ChannelOf(out, 1), b = ChannelOf(out, 2);
    const RgbOut row = direct ? RgbOut{r.Row(y), g.Row(y), b.Row(y), r.step}
                              : RgbOut{own.data(), own.data() + n, own.data() + 2 * n, 1};
    WriteRgbRow(luma.Row(y), u.Row(y), v.Row(y), row, luma.width);
    if (direct) continue;
    ScatterRow(row.r, r, y, luma.width);
    ScatterRow(row.g, g, y, luma.width);
    ScatterRow(row.b, b, y, luma.width);
  }
}

void WriteAlpha(const zolt_burst_picture* from, const zolt_burst_picture& out) {
  if (out.layout != ZOLT_BURST_RGB || out.planes[3] == nullptr) return;
  const bool copied = from != nullptr && from->layout == ZOLT_BURST_RGB && from->planes[3] != nullptr;
  const Channel to = ChannelOf(out, 3);
  for (int y = 0; y < out.height; ++y) {
    uint8_t* row = to.Row(y);
    for (int x = 0; x < out.width; ++x) {
      row[x * to.step] = copied ? ChannelOf(*from, 3).Row(y)[x * from->pixel_stride[3]] : 255;
    }
  }
}

uint8_t MeanOf4(const uint8_t* a, const uint8_t* b, int left, int right) {
  return static_cast<uint8_t>((a[left] + a[right] + b[left] + b[right] + 2) >> 2);
}

/// Half-size chroma for a 4:2:0 output: as it is, or the mean of 2 x 2.
void WriteHalfChroma(PlaneView chroma, int width, int height, const Channel& out) {
  const int half_width = HalfOf(width), half_height = HalfOf(height);
  const bool half = chroma.width == half_width && chroma.height == half_height;
  for (int y = 0; y < half_height; ++y) {
    if (half) {
      ScatterRow(chroma.Row(y), out, y, half_width);
      continue;
    }
    const uint8_t* upper = chroma.Row(2 * y);
    const uint8_t* lower = chroma.Row(std::min(2 * y + 1, height - 1));
    uint8_t* row = out.Row(y);
    for (int x = 0; x < half_width; ++x) {
      row[x * out.step] = MeanOf4(upper, lower, 2 * x, std::min(2 * x + 1, width - 1));
    }
  }
}

}  // namespace

int32_t CheckPicture(const zolt_burst_picture* picture) {
  if (picture == nullptr) return ZOLT_BURST_BAD_ARGUMENT;
  if (picture->size < sizeof(zolt_burst_picture)) return ZOLT_BURST_BAD_PICTURE;
  const int w = picture->width, h = picture->height;
  constexpr int kLongestSide = 1 << 20;
  if (w < kSmallestSide || h < kSmallestSide || w > kLongestSide || h > kLongestSide) {
    return ZOLT_BURST_BAD_PICTURE;
  }
  const bool yuv = picture->layout == ZOLT_BURST_YUV420, rgb = picture->layout == ZOLT_BURST_RGB;
  if (!yuv && !rgb && picture->layout != ZOLT_BURST_GREY) return ZOLT_BURST_BAD_PICTURE;
  const int channels = yuv || rgb ? 3 : 1;
  for (int c = 0; c < 4; ++c) {
    if (picture->planes[c] == nullptr && c < channels) return ZOLT_BURST_BAD_PICTURE;
    if (c >= channels && !(rgb && c == 3 && picture->planes[3] != nullptr)) continue;
    const bool half = yuv && c > 0;
    if (!StridesHold(ChannelOf(*picture, c), half ? HalfOf(w) : w, half ? HalfOf(h) : h)) {
      return ZOLT_BURST_BAD_PICTURE;
    }
    for (int other = 0; other < c; ++other) {
      if (picture->planes[other] == picture->planes[c]) return ZOLT_BURST_BAD_PICTURE;
    }
  }
  return ZOLT_BURST_OK;
}

PlaneView LumaOf(const zolt_burst_picture& picture, OwnedPlane* own) {
  if (picture.layout != ZOLT_BURST_RGB) return PlaneOf(picture, 0, picture.width, picture.height, own);
  own->Resize(picture.width, picture.height);
  RgbReader rows(picture, own->bytes.get_allocator().resource());
  const MutablePlane to = own->View();
  for (int y = 0; y < picture.height; ++y) LumaRow(rows.Row(y), to.Row(y), picture.width);
  return to;
}

ChromaViews HalfChromaOf(const zolt_burst_picture& picture, OwnedPlane* own_u, OwnedPlane* own_v) {
  const int w = HalfOf(picture.width), h = HalfOf(picture.height);
  if (picture.layout == ZOLT_BURST_YUV420) {
    return {PlaneOf(picture, 1, w, h, own_u), PlaneOf(picture, 2, w, h, own_v)};
  }
  own_u->Resize(w, h);
  own_v->Resize(w, h);
  const MutablePlane u = own_u->View(), v = own_v->View();
  if (picture.layout == ZOLT_BURST_GREY) {
    std::fill(own_u->bytes.begin(), own_u->bytes.end(), uint8_t{128});
    std::fill(own_v->bytes.begin(), own_v->bytes.end(), uint8_t{128});
    return {u, v};
  }
  RgbReader rows(picture, own_u->bytes.get_allocator().resource());
  for (int y = 0; y < h; ++y) {
    const RgbRow upper = rows.Row(2 * y, 0), lower = rows.Row(std::min(2 * y + 1, picture.height - 1), 1);
    HalfChromaRow(upper, lower, picture.width, u.Row(y), v.Row(y), w);
  }
  return {u, v};
}

ChromaViews FullChromaOf(const zolt_burst_picture& picture, OwnedPlane* own_u, OwnedPlane* own_v) {
  own_u->Resize(picture.width, picture.height);
  own_v->Resize(picture.width, picture.height);
  const MutablePlane u = own_u->View(), v = own_v->View();
  RgbReader rows(picture, own_u->bytes.get_allocator().resource());
  for (int y = 0; y < picture.height; ++y) ChromaRow(rows.Row(y), u.Row(y), v.Row(y), picture.width);
  return {u, v};
}

void WritePicture(PlaneView luma, const ChromaViews& chroma, const zolt_burst_picture* alpha,
                  const zolt_burst_picture& out, std::pmr::memory_resource* memory) {
  if (out.layout == ZOLT_BURST_RGB) {
    WriteRgb(luma, chroma, out, memory);
    WriteAlpha(alpha, out);
    return;
  }
  for (int y = 0; y < luma.height; ++y) ScatterRow(luma.Row(y), ChannelOf(out, 0), y, luma.width);
  if (out.layout == ZOLT_BURST_GREY) return;
  WriteHalfChroma(chroma.u, luma.width, luma.height, ChannelOf(out, 1));
  WriteHalfChroma(chroma.v, luma.width, luma.height, ChannelOf(out, 2));
}

}  // namespace zolt
