#include "picture_views.h"

#include <algorithm>
#include <limits>

#include "media/colour.h"

namespace zolt {
namespace {

namespace py = pybind11;

size_t PlanesOf(int layout) {
  return layout == ZOLT_BURST_GREY ? 1 : 3;
}

void CheckPlane(const py::array& plane, py::ssize_t height, py::ssize_t width) {
  if (!plane.dtype().is(py::dtype::of<uint8_t>())) throw py::value_error("a plane is not of dtype uint8");
  if (plane.ndim() != 2 || plane.shape(0) != height || plane.shape(1) != width) {
    throw py::value_error("a plane has another shape than its picture needs");
  }
}

std::vector<uint8_t> PlaneCopy(const zolt_burst_picture& picture, int plane, int width, int height) {
  std::vector<uint8_t> out(size_t(width) * height);
  for (int y = 0; y < height; ++y) {
    const uint8_t* in = picture.planes[plane] + y * picture.row_stride[plane];
    for (int x = 0; x < width; ++x) out[size_t(y) * width + x] = in[x * picture.pixel_stride[plane]];
  }
  return out;
}

}  // namespace

zolt_burst_picture PictureOf(const PictureViews& views, bool writable) {
  const size_t needed = PlanesOf(views.layout);
  const size_t most = views.layout == ZOLT_BURST_RGB ? needed + 1 : needed;  // with alpha
  if (views.planes.size() < needed || views.planes.size() > most) {
    throw py::value_error("a picture has a wrong number of planes");
  }
  zolt_burst_picture out = {};
  out.size = sizeof out;
  out.layout = views.layout;
  const py::array& first = views.planes[0];
  if (first.ndim() != 2) throw py::value_error("a plane has not two dimensions");
  const py::ssize_t height = first.shape(0);
  const py::ssize_t width = first.shape(1);
  if (std::max(height, width) > std::numeric_limits<int32_t>::max()) {
    throw py::value_error("a picture is too large");
  }
  out.width = static_cast<int32_t>(width);
  out.height = static_cast<int32_t>(height);
  for (size_t i = 0; i < views.planes.size(); ++i) {
    const py::array& plane = views.planes[i];
    const bool half = views.layout == ZOLT_BURST_YUV420 && i > 0;
    CheckPlane(plane, half ? (height + 1) / 2 : height, half ? (width + 1) / 2 : width);
    if (writable && !plane.writeable()) throw py::value_error("the output is read-only");
    out.planes[i] = static_cast<uint8_t*>(const_cast<void*>(plane.data()));
    out.row_stride[i] = plane.strides(0);
    out.pixel_stride[i] = plane.strides(1);
  }
  return out;
}

std::vector<zolt_burst_picture> PicturesOf(const std::vector<PictureViews>& views) {
  std::vector<zolt_burst_picture> out;
  out.reserve(views.size());
  for (const PictureViews& v : views) out.push_back(PictureOf(v, false));
  return out;
}

RgbPicture RgbCopy(const zolt_burst_picture& picture) {
  RgbPicture out(picture.width, picture.height);
  for (int c = 0; c < 3; ++c) {
    const std::vector<uint8_t> plane = PlaneCopy(picture, c, picture.width, picture.height);
    for (size_t i = 0; i < plane.size(); ++i) out.rgb[3 * i + c] = plane[i];
  }
  return out;
}

YuvPicture YuvCopy(const zolt_burst_picture& picture) {
  if (picture.layout == ZOLT_BURST_RGB) return YuvFromRgb(RgbCopy(picture));
  YuvPicture out(picture.width, picture.height);
  out.y = PlaneCopy(picture, 0, picture.width, picture.height);
  if (picture.layout == ZOLT_BURST_GREY) {
    std::fill(out.u.begin(), out.u.end(), uint8_t{128});
    out.v = out.u;
  } else {
    out.u = PlaneCopy(picture, 1, out.ChromaWidth(), out.ChromaHeight());
    out.v = PlaneCopy(picture, 2, out.ChromaWidth(), out.ChromaHeight());
  }
  return out;
}

py::array_t<uint8_t> RgbArray(const RgbPicture& picture) {
  py::array_t<uint8_t> out({picture.height, picture.width, 3});
  std::copy(picture.rgb.begin(), picture.rgb.end(), out.mutable_data());
  return out;
}

}  // namespace zolt
