#pragma once

#include <cstdint>

#include "noise/nr_stage_context.h"

namespace zolt {

/// Filter the finished accumulated frame in space, in place: four overlapping stripes, a thread each. `image`
/// has pitch = width, both sides multiples of 16; with a side below 256 nothing happens. The low level serves
/// a burst with 4 and more folded frames (three wavelet levels), the high level one with fewer (one level,
/// return of luma at edges). Scratch is context.fusionScratch; what it lacks is taken through the hooks for
/// the call. 0; -997 when a thread can't start; -1000 when scratch is refused; 1 when a stripe failed.
int32_t SpatialNrLowLevelMainCall(const NrStageContext& context, const YuvImage& image);
int32_t SpatialNrHighLevelMainCall(const NrStageContext& context, const YuvImage& image);

}  // namespace zolt
