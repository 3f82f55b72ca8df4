#include "burst/memory_need.h"

#include <algorithm>

#include "burst/alignment/alignment.h"
#include "burst/alignment/pyramid.h"
#include "burst/picture/kept_picture.h"
#include "burst/picture/picture.h"
#include "burst/work_geometry.h"
#include "session/memory_plan.h"
#include "zolt_burst.h"

namespace zolt {
namespace {

/// The finish of an image: snapshot of the chroma, blocks of the stages.
constexpr double kFinishBytesPerPixel = 1.5;
/// Luma and chroma of RGB pictures as planes, twice: one frame beside the reference.
constexpr double kPlanesPerPixel = 4;
/// The reference's pyramid, the noise measure's blocks.
constexpr double kAlignmentBytesPerPixel = 4;
/// Of each pair that is aligned at a time, for a pixel of the largest size that is compared: the frame's
/// pyramid, tiles' sums, copies in equal tones.
constexpr double kPairBytesPerPixel = 6;
/// Fine mode's finished planes and the padded ones of the plane at hand, of RGB at full size.
constexpr double kFineBytesPerPixel = 15;
constexpr double kSmallThings = 8 << 20;

}  // namespace

uint64_t MemoryNeed(int32_t width, int32_t height, int32_t kept_frames, int32_t mode) {
  constexpr int32_t kLongestSide = 1 << 20;
  if (width < kSmallestSide || height < kSmallestSide || width > kLongestSide || height > kLongestSide)
    return 0;
  if (kept_frames < 0 || (mode != ZOLT_BURST_FAST && mode != ZOLT_BURST_FINE)) return 0;
  const WorkGeometry work = MakeWorkGeometry(width, height);
  MemoryPlan plan;
  if (!MakeMemoryPlan(work.work_width, work.work_height, true, true, &plan)) return 0;
  const double native = static_cast<double>(width) * height;
  const auto pixels = static_cast<double>(work.pixels());
  // The engine's block, its result, and a frame in its place with what it doesn't show.
  const double merging =
      static_cast<double>(plan.block_size) + pixels * (1.5 + 1.5 + 1.25 + kFinishBytesPerPixel);
  const double fine = mode == ZOLT_BURST_FINE ? kFineBytesPerPixel : 0;
  const double kept = KeptPicture::kMostBytesPerPixel * static_cast<double>(kept_frames);
  const double around = native * (kPlanesPerPixel + kAlignmentBytesPerPixel + fine + kept);
  const double compared = std::min(native, static_cast<double>(Pyramid::kFinestPixels));
  const double pairs = kAlignmentThreads * kPairBytesPerPixel * compared;
  return static_cast<uint64_t>(merging + around + pairs + kSmallThings);
}

}  // namespace zolt
