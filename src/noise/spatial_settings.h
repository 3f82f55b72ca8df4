#pragma once

#include <cstdint>

#include "kernels/chroma_shrink.h"
#include "kernels/frame_weight.h"
#include "kernels/recursive_filter.h"
#include "noise/coring.h"
#include "noise/detail_return.h"
#include "noise/nr_stage_context.h"

namespace zolt {

/// The two spatial stages: kLow for a well averaged burst (three wavelet levels, return of luma by frame
/// count), kHigh for one with few merged frames (one level, return of luma at edges).
enum class SpatialLevel { kLow, kHigh };

/// All that a stripe's kernels need to know of the tuning, worked out once per call and only read by the
/// stripes. Any 32-bit tuning value gives a defined result; what is out of its range saturates.
struct SpatialSettings {
  SpatialLevel level;
  bool median;       ///< pseudo median before the wavelet, and of the edge mask at the high level
  bool return_luma;  ///< the filtered luma is written
  bool filter_chroma;
  bool luma_edges;        ///< luma edges count as chroma edges: the scene is bright enough to trust them
  CoringTable coring[3];  ///< of wavelet levels 1, 2, 3; the high level has the first alone
  RecursiveTables low_band;
  ChromaSettings chroma;
  const int32_t* chroma_thresholds;  ///< 40, the tuning's own
  int shift;                         ///< log2 of full weight for a burst of this length, 5 to 8
  uint8_t edge_chroma_weight;        ///< share of the shrunk chroma at edges, of 255
  int32_t boost_level;
  uint8_t return_limit;            ///< low level: cap of the frame count's say
  EdgeReturnSettings edge_return;  ///< high level
};

void MakeSpatialSettings(const NrParameters& nr, SpatialLevel level, SpatialSettings* settings);

/// The cap that `detail` sets to the return of luma by frame count; 255 where it sets none.
uint8_t ReturnLimit(int32_t detail, uint8_t peak_level, int shift);

}  // namespace zolt
