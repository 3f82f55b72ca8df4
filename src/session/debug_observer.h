#pragma once

#include <chrono>
#include <cstdint>

#include "base/yuv_image.h"

namespace zolt {

/// What the pipeline knows of one later frame of a burst, for tools that draw maps and measure stages.
struct FrameObservation {
  enum class Moment {
    kMerged,  ///< the frame is folded in (or skipped); planes and maps are what the stages saw
    kDone,    ///< the pipeline has ended, well or not; planes and maps are gone, times are complete
  };
  Moment moment = Moment::kMerged;
  int32_t index = -1;     ///< of a placed frame in its burst; -1: not placed, or only the burst's end
  bool last = false;      ///< the burst's last frame
  int32_t result = 0;     ///< kDone: of the pipeline
  YuvImage aligned = {};  ///< kMerged: the frame as it was folded, unaligned if registration gave up
  const uint8_t* ghost_map = nullptr;   ///< kMerged: width x height; null when ghost detection did not run
  const uint8_t* weight_map = nullptr;  ///< kMerged: width x height, frames folded per pixel in steps of 25
  uint32_t ghost_count = 0;
  uint8_t peak_level = 0;  ///< most frequent luma of the reference
  uint8_t luma_level = 0;  ///< mean luma of the reference's brightest 5 per cent
  int32_t registration_result = 0;
  float homography[9] = {};  ///< point of the reference to point of the frame; only if registered
  int64_t registration_us = 0;
  int64_t ghost_us = 0;
  int64_t temporal_us = 0;
  int64_t finish_us = 0;  ///< last frame: gain, spatial stage or fusion, chroma repair
};

using FrameObserver = void (*)(void* user, const FrameObservation& observation);

/// Calls `observer` twice for each later frame that reaches the pipeline, on the caller's thread.
/// Process-wide; null, the default, switches it off and then nothing is measured. Not reachable through the
/// shared library.
void SetFrameObserver(FrameObserver observer, void* user);

/// Gathers one observation along the pipeline; without an observer every call does nothing.
class FrameWatch {
 public:
  FrameWatch();
  bool active() const { return active_; }
  /// Time since the last Lap goes to this stage.
  void Lap(int64_t FrameObservation::*stage);
  void Tell(FrameObservation::Moment moment);
  FrameObservation seen;

 private:
  bool active_;
  std::chrono::steady_clock::time_point mark_ = {};
};

}  // namespace zolt
