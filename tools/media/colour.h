#pragma once

#include "media/picture.h"

namespace zolt {

/// Full-range BT.601 in 16-bit fixed point, the same on every platform. A chroma sample stands for the mean
/// of its (up to) 2 x 2 pixels. Greys come out exact: R = G = B = g gives Y = g, U = V = 128.
YuvPicture YuvFromRgb(const RgbPicture& rgb);

YuvPicture YuvOf(const AnyPicture& picture);

/// The inverse. Each chroma sample is repeated over its 2 x 2 pixels, not interpolated: so a picture that
/// goes out as RGB and comes back has the same samples within rounding, as far as they lie in the RGB gamut.
RgbPicture RgbFromYuv(const YuvPicture& yuv);

}  // namespace zolt
