#pragma once

#include <cstdint>

#include "config/configuration.h"
#include "zolt_mfdenoise.h"

namespace zolt {

/// What is known of a frame that the layer above the engine has aligned itself. The session's `placed` points
/// to it while the frame, in format I420, goes through zolt_mfNoiseReduction like any other: registration
/// does not run then, all other stages do. Not exported.
struct PlacedFrame {
  /// width x height; 255: the frame shows nothing there and isn't merged, 0: it does. Null: it shows all.
  const uint8_t* outside;
  float homography[9];  ///< point of the reference to point of the frame, for what depends on hand motion
  bool empty;           ///< no frame at all: nothing is compared or merged; ends a burst when it is the last
  uint8_t share;        ///< the running reference's share of the fold, of 256; 0: by the number of frames
  int32_t index;        ///< of the frame in its burst, for the observer; -1: none of them
};

/// Opens a session with a tuning that is in memory. The rest as zolt_mfInitialize: ZOLT_MF_OK or
/// ZOLT_MF_NO_MEMORY.
int32_t OpenSession(const MfConfig& config, const MfAllocHooks* hooks, MfSession** session);

}  // namespace zolt
