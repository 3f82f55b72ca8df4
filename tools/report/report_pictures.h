#pragma once

#include <string>
#include <vector>

#include "media/picture.h"
#include "report/report_page.h"

namespace zolt {

/// The part of `picture` whose upper left pixel is (x, y), both even; it lies inside.
YuvPicture CroppedAt(const YuvPicture& picture, int x, int y, int width, int height);

/// Scaled to `width` by averaging areas, or as it is if it is not wider.
YuvPicture ScaledDown(const YuvPicture& picture, int width);

/// A picture inside a page: PNG if it is small or `exact`, else JPEG near the top of its quality.
PageImage EmbeddedImage(const YuvPicture& picture, const std::string& caption, bool exact = false);

struct CropPlace {
  std::string name;
  int x, y;
};

/// The upper left pixels of up to three squares of `side` that tell most: where the result has the finest
/// detail, where it is smoothest, and where most moved (`motion`: luma 255 moved) or, if nothing did, where
/// colours are strongest. They don't overlap if there is room.
std::vector<CropPlace> TellingPlaces(const YuvPicture& result, const YuvPicture& motion, int side);

}  // namespace zolt
