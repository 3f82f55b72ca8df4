#pragma once

#include "media/picture.h"

namespace zolt {

/// Exif's eight ways to look at a picture: 1 as it is stored, 2 mirrored, 3 turned by 180 degrees, 4 mirrored
/// top to bottom, 5 to 8 with the sides exchanged (6: to be turned clockwise by 90 degrees, 8: the other
/// way).
constexpr int kUpright = 1;

/// The orientation itself, or kUpright for a number that is none.
constexpr int PlainOrientation(long value) {
  return value >= 1 && value <= 8 ? static_cast<int>(value) : kUpright;
}

constexpr bool ExchangesSides(int orientation) {
  return orientation >= 5;
}

/// The picture turned to be upright. Samples only move; with odd sides, where the pixels of a chroma sample
/// change partners, colour goes by way of RGB.
YuvPicture Turned(const YuvPicture& picture, int orientation);
RgbPicture Turned(const RgbPicture& picture, int orientation);
AnyPicture Turned(const AnyPicture& picture, int orientation);

}  // namespace zolt
