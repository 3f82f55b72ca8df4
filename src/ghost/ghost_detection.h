#pragma once

#include <cstdint>

#include "base/yuv_image.h"

namespace zolt {

/// Thresholds of ghost detection in grey levels, already scaled down by the caller (the tuning file's values
/// >> 4).
struct GhostThresholds {
  int32_t lumaTH_Low;
  int32_t lumaTH_High;
  int32_t lumaNoiseTH;
  int32_t chromaTH_Low;
  int32_t chromaTH_High;
  int32_t chromaNoiseTH;
};

/// What ghost detection is asked. Only the size of images[0], the planes of images[1] (the aligned frame) and
/// of firstImages[0] (the frame that it is compared with) are read; the row length of every plane is
/// images[0]'s width, chroma half of it.
struct GhostStageInput {
  ImageSet images;
  ImageSet firstImages;
  int32_t enabled;  ///< anything but 1: the map and the count stay as they are
  GhostThresholds thresholds;
  uint8_t* scratch;      ///< working memory, any alignment
  uint64_t scratchSize;  ///< bytes at scratch; what is missing is taken through the hooks for the call
};

/// Ghost detection compares an aligned frame with the burst's first frame at quarter size and leaves a soft
/// full-size map and a count of moved pixels in `mask`; where they differ by more than noise, averaging would
/// smear a moving object into a ghost. Frame sides are multiples of 8 from 32 up. All forms return 0 or -1000
/// (no memory), and leave map and count alone unless `enabled` is 1.

/// Frames with a side of 256 or less, on the caller's thread. The count is luma's alone, though the map shows
/// chroma's findings too. Takes 3 (w / 4) (h / 4) bytes of the room and advances the record past them; each
/// step's blocks come through the hooks. A refused smoothing block is no failure: the map stays unwritten.
int32_t GhostDetectionPlain(GhostStageInput* input, const GhostMask& mask);

/// Frames above 256 in both directions: four overlapping bands on four threads, each writing its quarter of
/// the map. The count is that of luma's and chroma's findings together. The working memory of all bands is
/// taken before the fork, from the room if it fits there. -997 when a thread could not be started, with the
/// map partly written; 1 when a band failed. A side of 255 or less goes to GhostDetectionFullLuma.
int32_t GhostDetectionBands(const GhostStageInput& input, const GhostMask& mask);

/// Luma alone at full resolution, cleaned but neither smoothed nor scaled, straight into the map; the count
/// is in map pixels. No room for the comparison is no failure: 0, with the map as it was.
int32_t GhostDetectionFullLuma(const GhostStageInput& input, const GhostMask& mask);

/// The form for the frame's size: bands if both sides are above 256, plain otherwise.
int32_t GhostDetection(GhostStageInput* input, const GhostMask& mask);

}  // namespace zolt
