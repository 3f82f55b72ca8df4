#include "registration/registration_arena.h"

#include "base/alloc_hooks.h"
#include "registration/luma_statistics.h"
#include "registration/warp.h"

namespace zolt {
namespace {

constexpr int32_t kReducedFrom = 400;  // from these sides on keypoints are searched at 4:1
constexpr int32_t kReduction = 4;
constexpr int64_t kLevelBytes = 16;        // the two brightness levels, padded
constexpr int64_t kNodeStorage = 1152000;  // of which 4 x 5998 nodes can be in use
constexpr int64_t kListHeaderWords = 3;    // two reserved, the count
constexpr int64_t kKeypointBytes = int64_t{kKeypointCapacity} * sizeof(KeyPoint);
constexpr int64_t kDescriptorBytes = int64_t{kKeypointCapacity} * kDescriptorWords * 4;
static_assert(kTreeCount * (int64_t{kMaxKeypoints} - 1) * int64_t{sizeof(KdNode)} <= kNodeStorage);

constexpr uint64_t kWord = 4;
static_assert(alignof(KdNode) <= kWord);

/// Whole words but for the image, whose pixels may be an odd count; nodes follow it.
uint64_t ArenaNeed(int64_t image_bytes, int32_t frame_width) {
  const uint64_t image = (static_cast<uint64_t>(image_bytes) + kWord - 1) / kWord * kWord;
  return image +
         static_cast<uint64_t>(2 * int64_t{kKeypointCapacity} * int64_t{sizeof(Point)} + kLevelBytes +
                               kListHeaderWords * 4 + kKeypointBytes + kDescriptorBytes + kTreeCount * 4 +
                               kLumaLevels * 4 + kNodeStorage + int64_t{WarpColumns(frame_width)} * 4);
}

int64_t SumsIn(const DetectionSize& size) {
  return (size.width + int64_t{1}) * (size.height + int64_t{1});
}

/// Detection needs its table of sums, four response layers with as much room again behind each as one word
/// per pixel and layer takes, and the two lists of candidates.
uint64_t DetectionNeed(const DetectionSize& size) {
  return static_cast<uint64_t>((4 + 4 * 16) * SumsIn(size) + 2 * kKeypointBytes);
}

void CutDetection(RegionCutter* cutter, const DetectionSize& size, RegistrationWork* work) {
  work->integral = cutter->Take<uint32_t>(static_cast<uint64_t>(SumsIn(size)));
  int32_t* responses = cutter->Take<int32_t>(static_cast<uint64_t>(16 * SumsIn(size)));
  for (int32_t i = 0; i < kLayerCount; ++i) work->buffers.responses[i] = responses + i * size.pixels();
  for (KeyPoint*& candidates : work->buffers.candidates)
    candidates = cutter->Take<KeyPoint>(kKeypointCapacity);
}

}  // namespace

DetectionSize DetectionSizeOf(int32_t frame_width, int32_t frame_height) {
  if (frame_width >= kReducedFrom && frame_height >= kReducedFrom) {
    return {kReduction, frame_width / kReduction, frame_height / kReduction};
  }
  return {1, frame_width, frame_height};
}

bool CutArena(uint8_t* block, uint64_t size, int32_t frame_width, int32_t frame_height, RegArena* arena) {
  const uint64_t skipped = (kWord - reinterpret_cast<uintptr_t>(block) % kWord) % kWord;
  const DetectionSize detection = DetectionSizeOf(frame_width, frame_height);
  const int64_t image_bytes = detection.scale == 1 ? 0 : detection.pixels();
  if (skipped + ArenaNeed(image_bytes, frame_width) > size) return false;
  RegionCutter cutter(block + skipped, size - skipped);
  arena->reference_points = cutter.Take<Point>(kKeypointCapacity);
  arena->current_points = cutter.Take<Point>(kKeypointCapacity);
  uint8_t* levels = cutter.Take<uint8_t>(kLevelBytes);
  arena->luma_level = levels;
  arena->peak_level = levels + 1;
  arena->keypoint_count = cutter.Take<int32_t>(kListHeaderWords) + 2;
  arena->keypoints = cutter.Take<KeyPoint>(kKeypointCapacity);
  arena->descriptors = cutter.Take<int32_t>(int64_t{kKeypointCapacity} * kDescriptorWords);
  arena->forest.roots = cutter.Take<int32_t>(kTreeCount);
  arena->histogram = cutter.Take<uint32_t>(kLumaLevels);
  uint8_t* image = cutter.Take<uint8_t>(static_cast<uint64_t>(image_bytes));
  arena->image = detection.scale == 1 ? nullptr : image;
  arena->forest.nodes = cutter.Take<KdNode>(kNodeStorage / sizeof(KdNode));
  arena->column_table = cutter.Take<float>(static_cast<uint64_t>(WarpColumns(frame_width)));
  return true;
}

uint64_t WorkNeed(const DetectionSize& size) {
  const int64_t image_bytes = size.scale == 1 ? 0 : size.pixels();
  return static_cast<uint64_t>(kKeypointBytes + kDescriptorBytes + image_bytes) + kWord + DetectionNeed(size);
}

uint64_t WorkAllocation(int32_t frame_width, int32_t frame_height) {
  // Unlike the detection itself, the size takes a side of exactly 400 as not reduced.
  const bool reduced = frame_width > kReducedFrom && frame_height > kReducedFrom;
  const int64_t w = reduced ? frame_width / kReduction : frame_width;
  const int64_t h = reduced ? frame_height / kReduction : frame_height;
  return static_cast<uint64_t>(2 * w * h + 1968103 + 68 * (w + 1) * (h + 1)) & ~uint64_t{15};
}

RegistrationWork CutReferenceWork(uint8_t* block, const DetectionSize& size) {
  RegistrationWork work = {};
  RegionCutter cutter(block, WorkNeed(size));
  CutDetection(&cutter, size, &work);
  return work;
}

RegistrationWork CutCurrentWork(uint8_t* block, const DetectionSize& size) {
  RegistrationWork work = {};
  RegionCutter cutter(block, WorkNeed(size));
  work.current.keypoints = cutter.Take<KeyPoint>(kKeypointCapacity);
  work.current.descriptors = cutter.Take<int32_t>(int64_t{kKeypointCapacity} * kDescriptorWords);
  if (size.scale != 1) work.image = cutter.Take<uint8_t>(static_cast<uint64_t>(size.pixels()));
  CutDetection(&cutter, size, &work);
  return work;
}

}  // namespace zolt
