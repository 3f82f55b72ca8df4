#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/errors.h"
#include "media/picture.h"
#include "media/raw_frame.h"

namespace zolt {

enum class Fusion { kConfig, kOn, kOff };

struct DenoiseSettings {
  std::string config_folder;  // holds multiframe.xml
  int iso = 800;
  RawLayout layout = RawLayout::kNv21;
  Fusion fusion = Fusion::kConfig;
  bool halved =
      false;  // frames 1, 3, 5, ... are marked as dropped; an even number of 4 or more frames, fusion off
};

/// What the library did with one frame; the stages' part only for frames that reached them.
struct FrameReport {
  double ms = 0;  // of the call, without the copying of maps
  bool reached_pipeline = false;
  int registration_result = 0;
  uint32_t ghost_count = 0;
  double registration_ms = 0;
  double ghost_ms = 0;
  double temporal_ms = 0;
  double finish_ms = 0;
};

/// Pictures of the inside, cropped to the frames' size; empty (width 0) when the stage did not run.
struct FrameMaps {
  YuvPicture aligned;
  YuvPicture ghost;   // 255: all of the pixel moves
  YuvPicture weight;  // 25 for each frame folded in
};

struct DenoiseResult {
  YuvPicture picture;
  std::vector<FrameReport> frames;
};

/// The library returned a code that is not 0.
class LibraryRefused : public ToolError {
 public:
  LibraryRefused(int32_t result, const std::string& where);
  int32_t result() const { return result_; }

 private:
  int32_t result_;
};

/// What a result code means to the person at the command line.
std::string MeaningOfResult(int32_t result);

/// Takes a burst of pictures of one size through the library's three functions. `on_maps`, if given, gets the
/// maps of each later frame when its call has returned. LibraryRefused, or ToolError from `on_maps` itself.
DenoiseResult DenoiseBurst(const std::vector<YuvPicture>& frames, const DenoiseSettings& settings,
                           const std::function<void(int frame, const FrameMaps&)>& on_maps = nullptr);

/// The folder of the tuning file that comes with the program: the installed one, else the source tree's.
/// ToolError (file).
std::string ShippedConfigFolder();

}  // namespace zolt
