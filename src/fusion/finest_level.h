#pragma once

#include <cstdint>

#include "fusion/exposure_fusion.h"
#include "fusion/wavelet_levels.h"

namespace zolt {

/// What the finest level of the wavelet is put together from, w x h luma in the end.
struct FinestLevel {
  int w, h;
  const int16_t* low;  ///< fused and filtered, w / 2 x h / 2
  Bands aligned;       ///< of the two images; their low-pass bands are not read
  Bands prepared;
  const uint8_t* luma;  ///< the prepared image itself
  uint8_t* out;         ///< the fusion's result
};

/// Mixes the three detail bands by `thresholds` (FuseBand's: along columns, along rows, along both), lifts
/// the level and returns up to detailRestore / 128 of the prepared luma where many frames were folded
/// (weightMap, weightShift). Row by row: neither mixed bands nor the lifted plane leave the cache. On the
/// fusion's workers.
void FinishFinestLevel(const FinestLevel& level, const int32_t* thresholds, const FusionPara& fusion,
                       uint8_t* scratch);
/// Bytes of scratch for that, aligned to 4.
uint64_t FinestLevelScratchSize(int w);

}  // namespace zolt
