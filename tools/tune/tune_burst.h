#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/picture.h"

namespace zolt {

/// Smaller images leave the library as the temporal merge left them, so there is nothing to tune.
constexpr int kSmallestTuned = 256;

/// A burst whose noise-free first frame is known, ready to go through the library again and again.
struct TuneBurst {
  std::string folder;
  int iso = 0;
  bool fused = false;  // the last frame has another exposure, and the truth is at that one
  int width = 0;       // of the truth; the frames are padded to sides that the library takes
  int height = 0;
  int padded_width = 0;
  int padded_height = 0;
  std::vector<std::vector<uint8_t>> frames;  // planar, U before V
  YuvPicture truth;
  YuvPicture first;  // the first frame, not padded
  YuvPicture mean;   // mean.png, if the folder has it, else of width 0

  int total() const { return static_cast<int>(frames.size()); }
};

struct TuneBurstNeeds {
  int iso = -1;         // of a folder that doesn't tell it; -1: such a folder is refused
  int border = 16;      // pixels at each edge that no figure looks at
  bool fusion = false;  // whether a last frame of another exposure is welcome
};

/// Reads a folder of `simulate`, or one of images with the reference picture named truth.png (.jpg, .y4m,
/// ...) beside them. ToolError that names the folder and says why it can't serve.
TuneBurst LoadTuneBurst(const std::string& folder, const TuneBurstNeeds& needs);

}  // namespace zolt
