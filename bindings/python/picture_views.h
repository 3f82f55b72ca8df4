#pragma once

#include <pybind11/numpy.h>

#include <vector>

#include "media/picture.h"
#include "zolt_burst.h"

namespace zolt {

/// A picture as the package's Python part hands it over: its layout and a view of shape (height, width) and
/// dtype uint8 for each plane. Whatever numpy can slice has one address and two strides for each plane, so
/// no sample is copied.
struct PictureViews {
  int layout = ZOLT_BURST_GREY;
  std::vector<pybind11::array> planes;
};

/// For the library to read, or to write into with `writable`; valid as long as the views. ValueError for
/// planes of wrong number, type or shape, and for read-only ones that are to be written.
zolt_burst_picture PictureOf(const PictureViews& views, bool writable);
std::vector<zolt_burst_picture> PicturesOf(const std::vector<PictureViews>& views);

/// Copies of the samples: RGB goes to YUV as in the program, grey gets chroma 128.
YuvPicture YuvCopy(const zolt_burst_picture& picture);
RgbPicture RgbCopy(const zolt_burst_picture& picture);

/// A new array (height, width, 3).
pybind11::array_t<uint8_t> RgbArray(const RgbPicture& picture);

}  // namespace zolt
