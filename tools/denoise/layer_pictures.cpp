#include "denoise/layer_pictures.h"

#include <algorithm>
#include <cstddef>

#include "session/debug_observer.h"

namespace zolt {
namespace {

void Cut(const uint8_t* plane, ptrdiff_t pitch, int left, int top, int width, std::vector<uint8_t>* out) {
  const uint8_t* row = plane + top * pitch + left;
  for (size_t at = 0; at < out->size(); at += static_cast<size_t>(width), row += pitch)
    std::copy_n(row, width, &(*out)[at]);
}

}  // namespace

zolt_burst_picture ViewOf(const YuvPicture& p) {
  return zolt_burst_yuv420(p.y.data(), p.u.data(), p.v.data(), p.width, p.height, 0, 0, 1);
}

zolt_burst_picture ViewOf(const RgbPicture& p) {
  return zolt_burst_rgb(p.rgb.data(), p.width, p.height, 0, "RGB");
}

std::vector<zolt_burst_picture> ViewsOf(const std::vector<AnyPicture>& pictures) {
  std::vector<zolt_burst_picture> views;
  views.reserve(pictures.size());
  for (const AnyPicture& picture : pictures)
    views.push_back(std::visit([](const auto& p) { return ViewOf(p); }, picture));
  return views;
}

std::vector<zolt_burst_picture> ViewsOf(const std::vector<YuvPicture>& pictures) {
  std::vector<zolt_burst_picture> views;
  views.reserve(pictures.size());
  for (const YuvPicture& picture : pictures) views.push_back(ViewOf(picture));
  return views;
}

YuvPicture PictureInside(const YuvImage& frame, const WorkGeometry& work) {
  YuvPicture out(work.width, work.height);
  Cut(frame.y, frame.pitch, work.left, work.top, out.width, &out.y);
  Cut(frame.u, frame.pitch / 2, work.left / 2, work.top / 2, out.ChromaWidth(), &out.u);
  Cut(frame.v, frame.pitch / 2, work.left / 2, work.top / 2, out.ChromaWidth(), &out.v);
  return out;
}

YuvPicture PictureInside(const uint8_t* plane, const WorkGeometry& work) {
  YuvPicture out(work.width, work.height);
  Cut(plane, work.work_width, work.left, work.top, out.width, &out.y);
  std::fill(out.u.begin(), out.u.end(), uint8_t{128});
  std::fill(out.v.begin(), out.v.end(), uint8_t{128});
  return out;
}

}  // namespace zolt
