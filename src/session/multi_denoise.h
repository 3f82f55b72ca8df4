#pragma once

#include <cstdint>

#include "base/yuv_image.h"
#include "fusion/exposure_fusion.h"
#include "noise/nr_stage_context.h"
#include "session/debug_observer.h"

namespace zolt {

/// What the noise reduction of one later frame works with. MultiDeNoise changes the chroma strength in the
/// context and fills the last fields of `fusion`.
struct DenoiseFrame {
  NrStageContext context;
  FusionPara fusion;
  uint8_t* fusion_room;  ///< working memory that leaves the aligned frame alone
  uint64_t fusion_room_size;
};

/// Folds the frame into `output` (pitch = width) unless a third of it has moved, and on the burst's last
/// frame finishes the image: gain, spatial filter or exposure fusion (in a padded copy when a side is no
/// multiple of 16), chroma repair. A side below 256 ends the burst with the temporal sum. 0 or a stage's
/// failure.
int32_t MultiDeNoise(DenoiseFrame* frame, const YuvImage& output, FrameWatch* watch);

}  // namespace zolt
