#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/input_list.h"
#include "media/media_read.h"

namespace zolt {

constexpr int kFewestFrames = 2;
constexpr int kMostFrames = 10;
constexpr int kVideoFrames = 6;  // taken of a video when nobody says how many

/// What names a burst on the command line.
struct BurstSource {
  std::vector<std::string> inputs =
      {};                 // image files; one video; raw frames; folders; "-" for standard input
  int frames = 0;         // how many of them to take; 0: all, of a video the first kVideoFrames
  int start = 0;          // how many to leave out first
  std::string size = {};  // WxH of raw frames
  InputOrder order = InputOrder::kGiven;
  ReadOptions read = {};
  bool upright = false;  // turn the frames as their tags say
};

struct BurstFrames {
  std::vector<YuvPicture> frames;  // kFewestFrames to kMostFrames, all of one size
  std::optional<int> iso;          // as the folder or the first frame's EXIF tells
  std::string iso_source;          // "burst.json" or "exif"
  Metadata metadata;               // of the first frame, the reference
  std::vector<ShotFacts> shots;    // one for each frame
  std::vector<std::string> files;  // that were read
  std::vector<std::string> notes;  // what the user should know, a line each
};

/// ToolError that says what to do: (usage) for too few, too many or unlike frames, (file) for what can't be
/// read.
BurstFrames LoadBurst(const BurstSource& source);

/// The picture enlarged to the right and below by repeating its last pixels, to sides that the library takes:
/// multiples of 8, 64 or more.
YuvPicture PaddedForLibrary(const YuvPicture& picture);

/// The upper left part of the given size.
YuvPicture Cropped(const YuvPicture& picture, int width, int height);

}  // namespace zolt
