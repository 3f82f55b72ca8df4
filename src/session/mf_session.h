#pragma once

#include <cstdint>
#include <ctime>

#include "base/yuv_image.h"
#include "config/configuration.h"
#include "config/iso_selection.h"
#include "fusion/exposure_fusion.h"
#include "session/memory_plan.h"
#include "session/placed_frame.h"
#include "zolt_mfdenoise.h"

/// One session: a configuration, and the burst that runs. From the system's heap, all zero at the start.
struct MfSession {
  uint8_t* arenaBlock;  ///< what the free hook must still receive; null: nothing
  uint8_t* publicMem;   ///< block of the running or lost burst; null: no burst
  zolt::MemoryPlan plan;
  int32_t width;
  int32_t height;
  int32_t frameTotal;
  int32_t iso;  ///< of the first frame
  zolt::IsoParameters parameters;
  int32_t eisMode;                 ///< nonzero: the burst ends in exposure fusion
  zolt::FusionPara fusion;         ///< with the burst's running counters
  zolt::YuvImage images[2];        ///< the running reference and the frame at hand
  zolt::YuvImage firstFrameImage;  ///< the burst's first frame, what ghosts are measured against
  uint32_t ghostCount;             ///< of the latest map; here, as the block's map may end at any address
  int32_t burstState;   ///< 0 until a later frame has succeeded, then 1; the effective tag during a frame
  int32_t IIRImgNum;    ///< frames folded into the result
  int32_t storedError;  ///< what lost the burst; 0: not lost
  zolt::MfConfig config;
  const zolt::PlacedFrame* placed;  ///< the frame at hand was aligned by the layer above; null: it was not

  uint8_t* Region(zolt::RegionName name) const { return publicMem + plan[name].offset; }
  /// Interleaved chroma has a place in the block only when the first frame had it.
  bool planar() const { return plan[zolt::kChromaPlanes].size == 0; }
};

namespace zolt {

/// The arguments of one frame, after the halved mode.
struct FrameCall {
  const uint8_t* src;
  uint8_t* result;
  int32_t height;
  int32_t width;
  int32_t tag;
  int32_t total;
  uint32_t format;
  int32_t iso;
  const MfFrameExtra* extra;
  std::clock_t start;
};

}  // namespace zolt
