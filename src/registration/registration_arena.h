#pragma once

#include <cstdint>

#include "registration/feature_list.h"
#include "registration/keypoint_detection.h"
#include "registration/match_set.h"
#include "registration/search_forest.h"

namespace zolt {

/// Size of the image that keypoints are searched in: a quarter of the frame's sides when both are at least
/// 400, otherwise the frame itself.
struct DetectionSize {
  int32_t scale;  ///< 4 or 1
  int32_t width, height;
  int64_t pixels() const { return static_cast<int64_t>(width) * height; }
};
DetectionSize DetectionSizeOf(int32_t frame_width, int32_t frame_height);

/// What lasts from frame to frame of a burst, in the caller's block, typed. Counts and indices only, no
/// pointers, so that the layout is the same on 32- and 64-bit processors.
struct RegArena {
  Point* reference_points;  ///< kKeypointCapacity pairs, like the next; used within a call only
  Point* current_points;
  uint8_t* luma_level;
  uint8_t* peak_level;
  int32_t* keypoint_count;  ///< of the reference; 0 until its features are complete
  KeyPoint* keypoints;
  int32_t* descriptors;
  KdForest forest;
  uint32_t* histogram;  ///< 256 cumulative counts of the reference's detection image
  uint8_t* image;       ///< the reference's detection image; null at scale 1, where the frame itself serves
  float* column_table;  ///< of the warp: half a float per column of the frame
};

/// Lays the arena out over `size` bytes at any address. False if they are too few for this frame size.
bool CutArena(uint8_t* block, uint64_t size, int32_t frame_width, int32_t frame_height, RegArena* arena);

/// What one call works in. The detection of the reference ends before that of the current frame begins, and
/// its buffers lie over the current frame's places.
struct RegistrationWork {
  FeatureList current;  ///< places for the current frame's features; count 0
  uint8_t* image;       ///< the current frame's detection image; null at scale 1
  uint32_t* integral;   ///< (width + 1) x (height + 1) words of the detection size
  DetectionBuffers buffers;
};

/// Bytes that a call needs from a 4-byte aligned address on, and what it asks the hook for when it has none:
/// a little more, and for frames with a side of exactly 400 much more.
uint64_t WorkNeed(const DetectionSize& size);
uint64_t WorkAllocation(int32_t frame_width, int32_t frame_height);

/// Lay the working memory out over WorkNeed bytes, for the two detections of a call.
RegistrationWork CutReferenceWork(uint8_t* block, const DetectionSize& size);
RegistrationWork CutCurrentWork(uint8_t* block, const DetectionSize& size);

}  // namespace zolt
