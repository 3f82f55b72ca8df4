#include "fusion/still_scene.h"

#include <algorithm>
#include <cstring>

#include "base/alloc_hooks.h"
#include "fusion/chroma_stage.h"
#include "fusion/half_size.h"

namespace zolt {
namespace {

// A plane of w x h at `pitch` into one of wide x high, extended by its last column and row.
void PadPlane(const uint8_t* source, int pitch, int w, int h, uint8_t* destination, int wide, int high) {
  for (int y = 0; y < high; ++y) {
    uint8_t* row = destination + static_cast<int64_t>(y) * wide;
    if (y >= h) {
      std::memcpy(row, row - wide, static_cast<size_t>(wide));
      continue;
    }
    std::memcpy(row, source + static_cast<int64_t>(y) * pitch, static_cast<size_t>(w));
    std::memset(row + w, row[w - 1], static_cast<size_t>(wide - w));
  }
}

YuvImage Padded(const YuvImage& input, int wide, int high, uint8_t* block) {
  const YuvImage padded = PlanarImage(block, wide, high);
  PadPlane(input.y, input.pitch, input.width, input.height, padded.y, wide, high);
  PadPlane(input.u, input.pitch / 2, input.width / 2, input.height / 2, padded.u, wide / 2, high / 2);
  PadPlane(input.v, input.pitch / 2, input.width / 2, input.height / 2, padded.v, wide / 2, high / 2);
  return padded;
}

}  // namespace

uint64_t StillSceneArenaSize(int w, int h) {
  const uint64_t full = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  const uint64_t half_planes = full / 4 + full / 8;
  // The padded input is dead when the chroma stage starts.
  return half_planes + RestoreDetailScratchSize(w) + std::max(ChromaStageScratchSize(w, h), full + full / 2);
}

void StillSceneFusion(const YuvImage& image, uint8_t* work_luma, FusionPara* fusion, uint8_t* arena,
                      uint64_t arena_size) {
  const int w = image.width;
  const int h = image.height;
  const auto full = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  fusion->boostDetail = 0;
  fusion->detailMin = 2;
  std::memset(fusion->weightMap, 25 * (fusion->frameTotal - 2), full);
  std::fill_n(fusion->bandThreshold, 20, 0);

  RegionCutter cutter(arena, arena_size);
  PlaneSet half;
  half.plane[0] = cutter.Take<uint8_t>(full / 4);
  half.plane[1] = cutter.Take<uint8_t>(full / 16);
  half.plane[2] = cutter.Take<uint8_t>(full / 16);
  auto* detail_rows = cutter.Take<uint8_t>(RestoreDetailScratchSize(w));
  uint8_t* rest = cutter.Take<uint8_t>(arena_size - cutter.used());

  const YuvImage& frame = *fusion->input;
  const YuvImage input = frame.width == w && frame.height == h ? frame : Padded(frame, w, h, rest);
  Down2Planes(input, half);
  RestoreDetail(half.plane[0], input.y, half.plane[0], h, w, work_luma, *fusion, detail_rows);
  ChromaStage(*fusion, w, h, half, half, rest);
  Up2Plane(half.plane[1], h / 4, w / 4, image.u);
  Up2Plane(half.plane[2], h / 4, w / 4, image.v);
}

}  // namespace zolt
