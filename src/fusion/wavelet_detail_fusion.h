#pragma once

#include <cstdint>

#include "fusion/exposure_fusion.h"

namespace zolt {

/// Bytes of arena that WaveletDetailFusion needs for a frame of w x h.
uint64_t WaveletFusionArenaSize(int w, int h);

/// Writes the fusion's final luma: both inputs are taken through a three-level 5/3 wavelet and mixed band by
/// band. Where they agree within fusion.bandThreshold the aligned frame's coefficient is taken, where they
/// differ the prepared one stays; a threshold of 0 keeps the prepared band. Half-size luma is smoothed by the
/// recursive filter (lumaLF, detail), and at last up to detailRestore / 128 of the prepared luma returns
/// where many frames were folded (weightMap, eighthWeight, weightShift). All planes are w x h, pitch = w,
/// sides multiples of 16. `out_luma` overlaps neither input. `arena` is aligned to 4 bytes. On the fusion's
/// workers. Always 0.
int32_t WaveletDetailFusion(const uint8_t* work_luma, const uint8_t* aligned_luma, uint8_t* out_luma,
                            uint8_t* arena, int w, int h, const FusionPara& fusion);

}  // namespace zolt
