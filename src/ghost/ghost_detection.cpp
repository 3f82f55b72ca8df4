#include "ghost/ghost_detection.h"

#include <algorithm>
#include <cstddef>

#include "base/alloc_hooks.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "ghost/difference_mask.h"
#include "ghost/mask_cleaning.h"
#include "kernels/blur121.h"
#include "kernels/upscale_mask4.h"

namespace zolt {
namespace {

uint32_t CountSet(const uint8_t* mask, int64_t pixels) {
  return static_cast<uint32_t>(std::count(mask, mask + pixels, uint8_t{255}));
}

/// A cutter over a hook's block, which may start at any address: an odd first byte comes out of its slack.
RegionCutter CutterOver(const HookBlock& block, uint64_t size) {
  const uint64_t odd = reinterpret_cast<uintptr_t>(block.data()) & 1;
  return {block.data() + odd, size - odd};
}

/// Runs the comparison with `buffer`, 4 bytes to a mask pixel, and a block of 2 bytes to a mask pixel for the
/// low-passed rows. Both are far more than the rows need.
int32_t Compare(const PlanePair& planes, MaskScale scale, const DifferenceLimits& limits,
                const HookBlock& buffer, uint8_t* mask) {
  const int columns = planes.w / static_cast<int>(scale), rows = planes.h / static_cast<int>(scale);
  const uint64_t pixels = static_cast<uint64_t>(columns) * static_cast<uint64_t>(rows);
  const ByteBlock low_pass(2 * pixels, kDenoisePool);
  if (!low_pass) {
    LogError("Memery Allocating Error!");
    return kNoMemory;
  }
  RegionCutter filtered = CutterOver(low_pass, 2 * pixels), rest = CutterOver(buffer, 4 * pixels);
  DifferenceMask(planes, scale, limits, DifferenceRows::Cut(&filtered, &rest, columns), mask);
  return kOk;
}

/// A refused buffer is told by nobody but the result.
int32_t CompareLuma(const PlanePair& planes, MaskScale scale, const DifferenceLimits& limits, uint8_t* mask) {
  const int side = static_cast<int>(scale);
  const uint64_t pixels = static_cast<uint64_t>(planes.w / side) * static_cast<uint64_t>(planes.h / side);
  const ByteBlock buffer(4 * pixels, kDenoisePool);
  return buffer ? Compare(planes, scale, limits, buffer, mask) : int32_t{kNoMemory};
}

/// Cleans a luma mask, then counts.
int32_t CleanAndCount(uint8_t* mask, int columns, int rows, uint32_t* count) {
  const int32_t result = CleanLumaMaskBytes(mask, columns, rows);
  if (result == kOk) *count = CountSet(mask, static_cast<int64_t>(columns) * rows);
  return result;
}

int32_t LumaGhostMask(const PlanePair& planes, const DifferenceLimits& limits, uint8_t* mask,
                      uint32_t* count) {
  const int32_t result = CompareLuma(planes, MaskScale::kQuarter, limits, mask);
  return result != kOk ? result : CleanAndCount(mask, planes.w >> 2, planes.h >> 2, count);
}

int32_t ChromaGhostMask(const PlanePair& planes, const DifferenceLimits& limits, uint8_t* mask) {
  const ByteBlock buffer(4 * (static_cast<uint64_t>(planes.w) * static_cast<uint64_t>(planes.h) / 4),
                         kDenoisePool);
  if (!buffer) return kNoMemory;
  const int32_t result = Compare(planes, MaskScale::kHalf, limits, buffer, mask);
  return result != kOk ? result : CleanChromaMaskBytes(mask, planes.w >> 1, planes.h >> 1);
}

/// The three masks of the plain form, at the front of the room that the input record brings (which is
/// advanced past them) or, if that is too small, in `block`. Null when the hook refuses.
uint8_t* TakeMasks(GhostStageInput* input, uint64_t bytes, HookBlock* block) {
  if (input->scratch == nullptr || input->scratchSize < bytes) {
    block->TakeBytes(bytes, kDenoisePool);
    return block->data();
  }
  uint8_t* masks = input->scratch;
  input->scratch += bytes;
  input->scratchSize -= bytes;
  return masks;
}

/// Luma into the first mask, U and V into the next two, then all of them into the first.
int32_t FindMotion(const GhostStageInput& input, uint8_t* masks, uint32_t* count) {
  const int w = input.images.images[0].width, h = input.images.images[0].height;
  const int64_t pixels = static_cast<int64_t>(w >> 2) * (h >> 2);
  const YuvImage &aligned = input.images.images[1], &first = input.firstImages.images[0];
  const GhostThresholds& t = input.thresholds;
  uint8_t *luma = masks, *u = masks + pixels, *v = masks + 2 * pixels;
  const DifferenceLimits chroma = {t.chromaTH_Low, t.chromaTH_High, t.chromaNoiseTH};
  int32_t result =
      LumaGhostMask({aligned.y, first.y, w, h}, {t.lumaTH_Low, t.lumaTH_High, t.lumaNoiseTH}, luma, count);
  if (result == kOk) result = ChromaGhostMask({aligned.u, first.u, w / 2, h / 2}, chroma, u);
  if (result == kOk) result = ChromaGhostMask({aligned.v, first.v, w / 2, h / 2}, chroma, v);
  if (result != kOk) return result;
  for (int64_t i = 0; i < pixels; ++i) luma[i] = static_cast<uint8_t>(luma[i] | u[i] | v[i]);
  return kOk;
}

}  // namespace

int32_t GhostDetectionPlain(GhostStageInput* input, const GhostMask& mask) {
  if (input->enabled != 1) return kOk;
  const int columns = input->images.images[0].width >> 2, rows = input->images.images[0].height >> 2;
  const uint64_t pixels = static_cast<uint64_t>(columns) * static_cast<uint64_t>(rows);
  HookBlock block;
  uint8_t* masks = TakeMasks(input, 3 * pixels, &block);
  if (masks == nullptr) {
    LogError("Memery Allocating Error!");
    return kNoMemory;
  }
  const int32_t result = FindMotion(*input, masks, mask.count);
  if (result != kOk) return result;
  // Luma's findings alone: this form has never counted what chroma adds.
  *mask.count *= 16;
  const ByteBlock smoothing(pixels, kDenoisePool);
  if (!smoothing) return kOk;
  Blur121(masks, masks, smoothing.data(), columns, rows, columns, columns, columns);
  UpscaleMask4(masks, rows, columns, mask.map);
  return kOk;
}

int32_t GhostDetectionFullLuma(const GhostStageInput& input, const GhostMask& mask) {
  if (input.enabled != 1) return kOk;
  const int w = input.images.images[0].width, h = input.images.images[0].height;
  const GhostThresholds& t = input.thresholds;
  const int32_t compared =
      CompareLuma({input.images.images[1].y, input.firstImages.images[0].y, w, h}, MaskScale::kFull,
                  {t.lumaTH_Low, t.lumaTH_High, t.lumaNoiseTH}, mask.map);
  // Without a comparison the map stays as it was, which the caller can live with.
  return compared != kOk ? int32_t{kOk} : CleanAndCount(mask.map, w, h, mask.count);
}

int32_t GhostDetection(GhostStageInput* input, const GhostMask& mask) {
  const YuvImage& size = input->images.images[0];
  const bool large = size.width > 256 && size.height > 256;
  return large ? GhostDetectionBands(*input, mask) : GhostDetectionPlain(input, mask);
}

}  // namespace zolt
