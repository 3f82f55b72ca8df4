#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "video/video_source.h"
#include "video/video_target.h"

namespace zolt {

struct VideoSettings {
  VideoSourceOptions source;
  VideoTargetOptions target;
  std::string compare = {};  ///< a second video, before and after beside each other; empty: none
  std::string config_folder = {};
  int window = 5;
  int mode = 0;  ///< ZOLT_BURST_FAST
  int iso = 0;   ///< 0: measured
  bool quiet = false;
};

/// Cleans a video: decodes, cleans and encodes at once on threads of their own. What was done before a
/// failure or Ctrl-C is kept and can be played. Remarks and the summary go to `err`. ToolError (file) that
/// says where it stopped, (stopped) after Ctrl-C; LibraryRefused.
void CleanVideo(const VideoSettings& settings, std::ostream& err);

}  // namespace zolt
