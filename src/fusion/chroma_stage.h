#pragma once

#include <cstdint>

#include "fusion/exposure_fusion.h"
#include "fusion/plane_set.h"

namespace zolt {

/// Bytes of scratch that ChromaStage needs for a frame of w x h.
uint64_t ChromaStageScratchSize(int w, int h);

/// Filters the chroma of a half-size image (Y of w/2 x h/2, U and V of w/4 x h/4, pitch = width) in four
/// overlapping stripes, a worker each, then stretches its saturation hue by hue if fusion.SaturationGain is
/// set. Reads chromaS, chromaNrTable, weightMap (w x h), weightShift, chromaDetail. `out` may be `in`; Y is
/// only read. `scratch` is aligned to 4 bytes. w and h are multiples of 16 from 256 up. The last worker's
/// result: 0, or -1000 when its bit planes were refused.
int32_t ChromaStage(const FusionPara& fusion, int w, int h, const PlaneSet& in, const PlaneSet& out,
                    uint8_t* scratch);

}  // namespace zolt
