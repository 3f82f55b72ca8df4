#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/picture.h"

namespace zolt {

/// A burst whose noise-free first frame is known, ready to go through the library again and again.
struct TuneBurst {
  std::string folder;
  int told_iso = 0;                // as the folder tells it; 0: it doesn't
  int iso = 0;                     // that it goes through the library with; 0: the noise is measured
  bool fused = false;              // the last frame is brighter, and the truth is at its exposure
  std::vector<YuvPicture> frames;  // the first one is what the truth shows
  YuvPicture truth;
  YuvPicture mean;  // mean.png, if the folder has it, else of width 0

  const YuvPicture& first() const { return frames.front(); }
  int width() const { return first().width; }
  int height() const { return first().height; }
  int total() const { return static_cast<int>(frames.size()); }
};

struct TuneBurstNeeds {
  int iso = -1;         // of a folder that doesn't tell it (0: measured); -1: such a folder is refused
  int border = 16;      // pixels at each edge that no figure looks at
  bool fusion = false;  // whether a brighter last frame is welcome
};

/// Reads a folder of `simulate`, or one of images with the reference picture named truth.png (.jpg, .y4m,
/// ...) beside them. ToolError that names the folder and says why it can't serve.
TuneBurst LoadTuneBurst(const std::string& folder, const TuneBurstNeeds& needs);

}  // namespace zolt
