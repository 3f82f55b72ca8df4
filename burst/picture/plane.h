#pragma once

#include <cstddef>
#include <cstdint>

namespace zolt {

/// One plane of somebody else's 8-bit picture; `pitch` bytes from row to row, pixels side by side.
struct PlaneView {
  const uint8_t* data = nullptr;
  int width = 0;
  int height = 0;
  ptrdiff_t pitch = 0;

  const uint8_t* Row(int y) const { return data + y * pitch; }
};

/// The same, to write into.
struct MutablePlane {
  uint8_t* data = nullptr;
  int width = 0;
  int height = 0;
  ptrdiff_t pitch = 0;

  uint8_t* Row(int y) const { return data + y * pitch; }
  operator PlaneView() const { return {data, width, height, pitch}; }
};

}  // namespace zolt
