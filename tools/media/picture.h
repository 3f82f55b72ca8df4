#pragma once

#include <cstddef>
#include <cstdint>
#include <variant>
#include <vector>

namespace zolt {

/// YUV 4:2:0, 8 bits, full range, BT.601. Planes have no row padding; an odd side has (side + 1) / 2 chroma
/// samples. `grey`: it came of a file without colour and goes into one; its chroma is then 128 throughout, or
/// what a stage made of that, and counts for nothing.
struct YuvPicture {
  int width = 0;
  int height = 0;
  bool grey = false;
  std::vector<uint8_t> y, u, v;

  YuvPicture() = default;
  YuvPicture(int w, int h) : width(w), height(h), y(size_t(w) * h), u(ChromaSize()), v(ChromaSize()) {}

  int ChromaWidth() const { return (width + 1) / 2; }
  int ChromaHeight() const { return (height + 1) / 2; }
  size_t ChromaSize() const { return size_t(ChromaWidth()) * ChromaHeight(); }
};

/// R, G, B bytes of each pixel, rows without padding.
struct RgbPicture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;

  RgbPicture() = default;
  RgbPicture(int w, int h) : width(w), height(h), rgb(size_t(w) * h * 3) {}
};

/// As its file has it: samples of 4:2:0, or RGB, whose chroma is of full size.
using AnyPicture = std::variant<YuvPicture, RgbPicture>;

inline int WidthOf(const AnyPicture& picture) {
  return std::visit([](const auto& p) { return p.width; }, picture);
}
inline int HeightOf(const AnyPicture& picture) {
  return std::visit([](const auto& p) { return p.height; }, picture);
}
inline bool IsRgb(const AnyPicture& picture) {
  return std::holds_alternative<RgbPicture>(picture);
}
inline bool IsGrey(const AnyPicture& picture) {
  const auto* yuv = std::get_if<YuvPicture>(&picture);
  return yuv && yuv->grey;
}

}  // namespace zolt
