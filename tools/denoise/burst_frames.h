#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/input_list.h"
#include "media/media_read.h"

namespace zolt {

constexpr int kMostFrames = 100;  // that are held in memory at once; the merge chooses among them
constexpr int kVideoFrames = 6;   // taken of a video when nobody says how many

/// What names a burst on the command line.
struct BurstSource {
  std::vector<std::string> inputs =
      {};                 // image files; one video; raw frames; folders; "-" for standard input
  int frames = 0;         // how many of them to take; 0: all, of a video the first kVideoFrames
  int start = 0;          // how many to leave out first
  std::string size = {};  // WxH of raw frames
  InputOrder order = InputOrder::kGiven;
  ReadOptions read = {};
  bool upright = false;   // turn the frames as their tags say
  bool keep_rgb = false;  // else frames that are no 4:2:0 become it
};

struct BurstFrames {
  std::vector<AnyPicture> frames;        // 1 to kMostFrames, all of one size
  std::vector<std::string> frame_files;  // the file of each
  std::optional<int> iso;                // as the folder or the first frame's EXIF tells
  std::string iso_source;                // "burst.json" or "exif"
  std::vector<Metadata> metadata;        // of each; which one the result takes is known when it is made
  std::vector<ShotFacts> shots;          // of each
  std::vector<std::string> files;        // that were read
  std::vector<std::string> notes;        // what the user should know, a line each
};

/// ToolError that says what to do: (usage) for no, too many or unlike frames, (file) for what can't be
/// read.
BurstFrames LoadBurst(const BurstSource& source);

}  // namespace zolt
