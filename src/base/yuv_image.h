#pragma once

#include <cstdint>

namespace zolt {

/// A planar 4:2:0 image that somebody else owns. Luma is width x height bytes at `pitch`; each chroma plane
/// is width / 2 x height / 2 bytes at pitch / 2. Frames of the caller have pitch = width.
struct YuvImage {
  int32_t width;
  int32_t height;
  int32_t pitch;
  uint8_t* y;
  uint8_t* u;
  uint8_t* v;
};

/// Images that a stage gets together; only the first `count` are meaningful.
struct ImageSet {
  YuvImage images[10];
  int32_t count;
};

/// The image over one block of 3 * width * height / 2 bytes: Y, then U, then V, pitch = width.
inline YuvImage PlanarImage(uint8_t* block, int32_t width, int32_t height) {
  const int64_t luma = int64_t{width} * height;
  return {width, height, width, block, block + luma, block + luma + luma / 4};
}

/// Where ghost detection leaves its findings, memory of the caller: `map` is width x height bytes at pitch
/// width, 0 for still and 255 for moved with soft edges between; `count` is in full-resolution pixels.
struct GhostMask {
  uint8_t* map;
  uint32_t* count;
};

}  // namespace zolt
