#include "media/raw_frame.h"

#include <algorithm>

#include "common/file_io.h"

namespace zolt {

std::optional<RawLayout> RawLayoutOf(const std::string& path) {
  const std::string e = ExtensionOf(path);
  if (e == "nv21") return RawLayout::kNv21;
  if (e == "nv12") return RawLayout::kNv12;
  if (e == "i420" || e == "yuv") return RawLayout::kI420;
  return std::nullopt;
}

std::vector<uint8_t> RawBytes(const YuvPicture& picture, RawLayout layout) {
  std::vector<uint8_t> out(picture.y);
  out.reserve(picture.y.size() + 2 * picture.u.size());
  if (layout == RawLayout::kI420) {
    out.insert(out.end(), picture.u.begin(), picture.u.end());
    out.insert(out.end(), picture.v.begin(), picture.v.end());
    return out;
  }
  const auto& first = layout == RawLayout::kNv21 ? picture.v : picture.u;
  const auto& second = layout == RawLayout::kNv21 ? picture.u : picture.v;
  for (size_t i = 0; i < first.size(); ++i) {
    out.push_back(first[i]);
    out.push_back(second[i]);
  }
  return out;
}

YuvPicture PictureFromRaw(const uint8_t* bytes, int width, int height, RawLayout layout) {
  YuvPicture out(width, height);
  std::copy(bytes, bytes + out.y.size(), out.y.begin());
  const uint8_t* chroma = bytes + out.y.size();
  const size_t n = out.u.size();
  if (layout == RawLayout::kI420) {
    std::copy(chroma, chroma + n, out.u.begin());
    std::copy(chroma + n, chroma + 2 * n, out.v.begin());
    return out;
  }
  auto& first = layout == RawLayout::kNv21 ? out.v : out.u;
  auto& second = layout == RawLayout::kNv21 ? out.u : out.v;
  for (size_t i = 0; i < n; ++i) {
    first[i] = chroma[2 * i];
    second[i] = chroma[2 * i + 1];
  }
  return out;
}

}  // namespace zolt
