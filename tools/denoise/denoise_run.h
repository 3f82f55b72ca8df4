#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/errors.h"
#include "media/picture.h"
#include "zolt_burst.h"

namespace zolt {

struct DenoiseSettings {
  std::string config_folder;  // holds multiframe.xml; empty: the built-in tuning
  int iso = 0;                // 0: the noise is measured
  int reference = -1;         // index of a frame; -1: the layer picks it
  int fusion = ZOLT_BURST_FUSION_AUTO;
  int mode = ZOLT_BURST_FINE;
  bool keep_all = false;
  uint64_t memory_limit = 0;  // bytes; 0: none
  bool rgb_result = false;    // else 4:2:0
};

/// What became of one frame. The stages' part is of a frame that reached the engine as one to merge or fuse.
struct FrameReport {
  zolt_burst_frame_report told = {};
  bool reached_engine = false;
  uint32_t ghost_count = 0;  // pixels that moved
  double ghost_ms = 0;       // these are part of told.milliseconds
  double temporal_ms = 0;
  double finish_ms = 0;  // of a frame that was fused
};

/// Pictures of the inside, of the frames' size; empty (width 0) when the stage did not run.
struct FrameMaps {
  YuvPicture aligned;
  YuvPicture ghost;   // 255: not merged here, as it moved or lies outside of the frame
  YuvPicture weight;  // 25 for each frame folded in
};

struct DenoiseResult {
  AnyPicture picture;
  zolt_burst_report report = {};
  std::vector<FrameReport> frames;
  double finish_ms = 0;  // filter or fusion
};

/// The library returned a code that is not 0.
class LibraryRefused : public ToolError {
 public:
  LibraryRefused(int32_t result, const std::string& where);
  int32_t result() const { return result_; }

 private:
  int32_t result_;
};

/// Takes a burst of pictures of one size, as ViewsOf shows them, through zolt_burst_denoise and shows how far
/// it is. `on_maps`, if given, gets the maps of each frame that is merged or fused, in their order.
/// LibraryRefused; ToolError from `on_maps` itself, (file) for a tuning that isn't there, (stopped) after
/// Ctrl-C.
DenoiseResult DenoiseBurst(const std::vector<zolt_burst_picture>& frames, const DenoiseSettings& settings,
                           const std::function<void(int frame, const FrameMaps&)>& on_maps = nullptr);

}  // namespace zolt
