#pragma once

#include <memory_resource>
#include <vector>

#include "burst/picture/plane.h"
#include "zolt_burst.h"

namespace zolt {

constexpr int kSmallestSide = 16;

/// A plane that is owned: rows side by side.
struct OwnedPlane {
  explicit OwnedPlane(std::pmr::memory_resource* memory) : bytes(memory) {}
  void Resize(int w, int h) {
    bytes.resize(static_cast<size_t>(w) * static_cast<size_t>(h));
    width = w;
    height = h;
  }
  MutablePlane View() { return {bytes.data(), width, height, width}; }
  PlaneView View() const { return {bytes.data(), width, height, width}; }

  std::pmr::vector<uint8_t> bytes;
  int width = 0;
  int height = 0;
};

/// ZOLT_BURST_OK, or why this can be no picture (ZOLT_BURST_BAD_ARGUMENT for null, ZOLT_BURST_BAD_PICTURE).
int32_t CheckPicture(const zolt_burst_picture* picture);

inline int HalfOf(int side) {
  return (side + 1) / 2;
}

/// The luma of a picture that CheckPicture passed, in place where its samples lie side by side, else in
/// `own`.
PlaneView LumaOf(const zolt_burst_picture& picture, OwnedPlane* own);

/// Chroma planes of the same size each.
struct ChromaViews {
  PlaneView u, v;
};

/// Chroma at half size (4:2:0), in place or in `own`. Of RGB the mean of each 2 x 2 pixels, of grey 128.
ChromaViews HalfChromaOf(const zolt_burst_picture& picture, OwnedPlane* own_u, OwnedPlane* own_v);

/// Chroma of RGB at its own full size, in `own`. Only for RGB.
ChromaViews FullChromaOf(const zolt_burst_picture& picture, OwnedPlane* own_u, OwnedPlane* own_v);

/// Writes luma and chroma (4:2:0, or of luma's size) into a picture of luma's size. RGB from half-size chroma
/// is interpolated: chroma samples lie between the luma samples. `alpha`, if not null, is a picture whose
/// alpha is taken over, 255 else. Scratch comes from `memory` before the first byte is written:
/// std::bad_alloc leaves `out` untouched.
void WritePicture(PlaneView luma, const ChromaViews& chroma, const zolt_burst_picture* alpha,
                  const zolt_burst_picture& out, std::pmr::memory_resource* memory);

}  // namespace zolt
