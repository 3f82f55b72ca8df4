#pragma once

#include <cstddef>
#include <cstdint>
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

}  // namespace zolt
