#pragma once

#include <string>
#include <vector>

#include "media/metadata.h"

namespace zolt {

/// A photo of a folder, as far as it tells which burst it belongs to.
struct GroupedFile {
  std::string path;
  ShotFacts shot;  // with a time
  int width = 0;
  int height = 0;
};

struct BurstGroup {
  std::vector<GroupedFile> files;  // 2 to 10, by time
  bool brighter_last = false;      // the last frame was exposed for longer: to be fused
};

/// The bursts among photos: frames of one camera, format and size that follow each other within `gap` seconds
/// (from the end of an exposure to the begin of the next), exposed alike but for a brighter last one. More
/// than ten are parted evenly. Photos that stand alone are in no group.
std::vector<BurstGroup> BurstGroupsAmong(std::vector<GroupedFile> files, double gap);

}  // namespace zolt
