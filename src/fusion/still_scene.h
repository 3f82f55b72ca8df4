#pragma once

#include <cstdint>

#include "base/yuv_image.h"
#include "fusion/exposure_fusion.h"

namespace zolt {

/// Bytes of arena that StillSceneFusion needs for a frame of w x h.
uint64_t StillSceneArenaSize(int w, int h);

/// The path of a still, dark scene: the last frame as it came (fusion->input, padded with its own last pixels
/// to the image's size where that is larger) replaces the accumulated burst. Its chroma is filtered into
/// `image`, its luma goes to `work_luma`. Sets boostDetail, detailMin, weightMap and bandThreshold of
/// `fusion` as if all frames but two had been folded everywhere. `arena` is aligned to 4 bytes.
void StillSceneFusion(const YuvImage& image, uint8_t* work_luma, FusionPara* fusion, uint8_t* arena,
                      uint64_t arena_size);

}  // namespace zolt
