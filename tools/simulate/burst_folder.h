#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulate/camera.h"

namespace zolt {

/// What burst.json in a folder of `simulate` tells.
struct BurstInfo {
  int width = 0;
  int height = 0;
  int iso = 0;
  uint64_t seed = 0;
  double motion = 0;
  double last_ev = 0;
  bool ghost = false;
  bool white = false;
  std::string photo;                // empty: the built-in scene
  std::vector<std::string> frames;  // file names within the folder
  std::string truth;
  std::string truth_last;  // empty if the last frame is exposed like the others
  std::vector<FrameMotion> homographies;
};

void WriteBurstInfo(const std::string& folder, const BurstInfo& info);

/// Whether `simulate` made the folder.
bool HasBurstInfo(const std::string& folder);

/// ToolError (file) if the file is missing, is no JSON, or lacks a field; names leading out of the folder are
/// refused.
BurstInfo ReadBurstInfo(const std::string& folder);

}  // namespace zolt
