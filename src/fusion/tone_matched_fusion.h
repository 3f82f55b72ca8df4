#pragma once

#include <cstdint>

#include "base/yuv_image.h"
#include "fusion/exposure_fusion.h"

namespace zolt {

/// Bytes of arena that ToneMatchedFusion needs for a frame of w x h, ghost detection at half size included.
uint64_t ToneMatchedArenaSize(int w, int h);

/// Bends the accumulated image's tones to the aligned last frame's (histogram matching per colour channel at
/// half size), mixes chroma where ghost detection finds that both agree (ChromaFusionFlag), fuses both tone
/// versions in a pyramid (HDRFusionFlag), and returns to full size with the accumulated image's detail.
/// Leaves the luma in `work_luma` and the chroma in `image`; changes bandThreshold, chromaS, lumaLF,
/// halfWeight and the content of eighthWeight of `fusion`. `arena` is aligned to 4 bytes, `arena_size` at
/// least ToneMatchedArenaSize. 0; 3 with "ExposureFusion:too much ghost!" in the log and `image` unchanged.
int32_t ToneMatchedFusion(const YuvImage& image, const YuvImage& aligned, uint8_t* work_luma,
                          FusionPara* fusion, uint8_t* arena, uint64_t arena_size);

}  // namespace zolt
