#include "media/orientation.h"

#include <cstring>

#include "media/colour.h"

namespace zolt {
namespace {

// Where an upright pixel lies in the stored picture, as a walk: start, step to the right, step down.
struct Walk {
  ptrdiff_t start, right, down;
};

Walk WalkOf(int orientation, int stored_width, int stored_height) {
  const ptrdiff_t w = stored_width;
  const ptrdiff_t last_column = w - 1;
  const ptrdiff_t last_row = (ptrdiff_t{stored_height} - 1) * w;
  switch (orientation) {
    case 2:
      return {last_column, -1, w};
    case 3:
      return {last_row + last_column, -1, -w};
    case 4:
      return {last_row, 1, -w};
    case 5:
      return {0, w, 1};
    case 6:
      return {last_row, -w, 1};
    case 7:
      return {last_row + last_column, -w, -1};
    case 8:
      return {last_column, w, -1};
    default:
      return {0, 1, w};
  }
}

template <int kBytes>
void TurnPlane(const std::vector<uint8_t>& in, int width, int height, int orientation,
               std::vector<uint8_t>* out) {
  const Walk walk = WalkOf(orientation, width, height);
  const int out_width = ExchangesSides(orientation) ? height : width;
  const int out_height = ExchangesSides(orientation) ? width : height;
  out->resize(in.size());
  uint8_t* to = out->data();
  for (int y = 0; y < out_height; ++y) {
    const uint8_t* from = in.data() + kBytes * (walk.start + y * walk.down);
    for (int x = 0; x < out_width; ++x, to += kBytes, from += kBytes * walk.right)
      std::memcpy(to, from, kBytes);
  }
}

}  // namespace

YuvPicture Turned(const YuvPicture& picture, int orientation) {
  if (orientation == kUpright || picture.width == 0) return picture;
  const bool whole = picture.width % 2 == 0 && picture.height % 2 == 0;
  YuvPicture out;
  if (whole || picture.grey) {
    const bool exchange = ExchangesSides(orientation);
    out = YuvPicture(exchange ? picture.height : picture.width, exchange ? picture.width : picture.height);
    TurnPlane<1>(picture.y, picture.width, picture.height, orientation, &out.y);
    TurnPlane<1>(picture.u, picture.ChromaWidth(), picture.ChromaHeight(), orientation, &out.u);
    TurnPlane<1>(picture.v, picture.ChromaWidth(), picture.ChromaHeight(), orientation, &out.v);
  } else {
    out = YuvFromRgb(Turned(RgbFromYuv(picture), orientation));
  }
  out.grey = picture.grey;
  return out;
}

RgbPicture Turned(const RgbPicture& picture, int orientation) {
  if (orientation == kUpright || picture.width == 0) return picture;
  const bool exchange = ExchangesSides(orientation);
  RgbPicture out;
  out.width = exchange ? picture.height : picture.width;
  out.height = exchange ? picture.width : picture.height;
  TurnPlane<3>(picture.rgb, picture.width, picture.height, orientation, &out.rgb);
  return out;
}

AnyPicture Turned(const AnyPicture& picture, int orientation) {
  return std::visit([&](const auto& p) { return AnyPicture(Turned(p, orientation)); }, picture);
}

}  // namespace zolt
