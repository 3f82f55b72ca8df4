#include "session/chroma_repair.h"

#include <cstddef>

namespace zolt {
namespace {

void RepairRow(uint8_t* __restrict chroma, const uint8_t* __restrict old, const uint8_t* __restrict luma,
               int32_t count) {
  for (int32_t x = 0; x < count; ++x) {
    const uint16_t share = RestoreLUT(luma[2 * x]);
    const auto mixed = static_cast<uint16_t>(static_cast<uint16_t>(share * old[x]) +
                                             static_cast<uint16_t>((128 - share) * chroma[x]));
    chroma[x] = static_cast<uint8_t>(mixed >> 7);
  }
}

void RepairPlane(uint8_t* chroma, const uint8_t* old, const YuvImage& image) {
  const int32_t width = image.width / 2;
  const uint8_t* luma = image.y;
  for (int32_t y = 0; y < image.height / 2; ++y) {
    RepairRow(chroma, old, luma, width);
    chroma += width;
    old += width;
    luma += 2 * static_cast<size_t>(image.width);
  }
}

}  // namespace

void RepairHighlightChroma(const YuvImage& image, const uint8_t* snapshot) {
  const size_t plane = static_cast<size_t>(image.width) * static_cast<size_t>(image.height) / 4;
  RepairPlane(image.u, snapshot, image);
  RepairPlane(image.v, snapshot + plane, image);
}

}  // namespace zolt
