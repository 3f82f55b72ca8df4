#include "session/memory_plan.h"

#include <algorithm>

namespace zolt {
namespace {

constexpr int64_t RoundDown16(int64_t v) {
  return v & ~int64_t{15};
}
constexpr int64_t RoundUp16(int64_t v) {
  return RoundDown16(v + 15);
}

int64_t PixelCount(int32_t width, int32_t height) {
  return int64_t{width} * height;
}

/// Points, keypoints, descriptors and search trees, and the detection image at 4:1.
int64_t RegistrationFixed(int64_t pixels) {
  return RoundDown16(2929075 + pixels / 16);
}

}  // namespace

int64_t RegistrationHead(int32_t width, int32_t height) {
  const int64_t pixels = PixelCount(width, height);
  return RoundDown16(RegistrationFixed(pixels) + 100 * int64_t{width} + 31 + 3 * pixels / 2);
}

MemSize RegistrationMemSize(int32_t width, int32_t height) {
  const bool reduced = width > 400 && height > 400;
  const int64_t w = reduced ? width >> 2 : width;
  const int64_t h = reduced ? height >> 2 : height;
  return {RegistrationHead(width, height), RoundDown16(2 * w * h + 1968103 + 68 * (w + 1) * (h + 1))};
}

MemSize GhostMemSize(int32_t width, int32_t height) {
  const int64_t map = PixelCount(width, height) + 4;
  const int64_t w = width, h = height;
  // The remainder is added, not rounded up to: the total of the head is rounded later.
  return {map + map % 16, 4 * ((((h >> 2) + 132) >> 2) * (w >> 2) * 7 +
                               (((h >> 3) + 34) >> 1) * (w >> 2) * 6 + ((h >> 3) + 34) * (w >> 1) * 2)};
}

MemSize DenoiseMemSize(int32_t width, int32_t height) {
  const int64_t quarter = height >> 2;
  const int64_t a = 16 * (((quarter + 79) >> 4) + ((quarter + 143) >> 4)) * 2 * width;
  const int64_t b = a >> 4;
  return {RoundUp16(PixelCount(width, height)),
          a + 4 * b + 2 * (b + 2 * a + 1040) + 4 * int64_t{std::max(width, height)}};
}

MemSize FusionMemSize(int32_t width, int32_t height) {
  const int64_t pixels = PixelCount(width, height);
  const int64_t c = (height / 4 + int64_t{256}) * 4 * width;
  const int64_t d = 11 * c / 16 + 2 * c;
  return {0, 7 * pixels + pixels / 2 + std::max(d, 6 * pixels)};
}

MemSize PublicMemSizes(int32_t width, int32_t height, bool planar, bool fusion_configured) {
  const int64_t pixels = PixelCount(width, height);
  const MemSize registration = RegistrationMemSize(width, height);
  const MemSize ghost = GhostMemSize(width, height);
  const MemSize denoise = DenoiseMemSize(width, height);
  const int64_t reused = registration.head + ghost.head;
  MemSize total = {(planar ? 0 : pixels / 2) + 3 * pixels / 2 + reused + denoise.head,
                   std::max({registration.scratch, ghost.scratch, denoise.scratch - reused})};
  if (fusion_configured) {
    const MemSize fusion = FusionMemSize(width, height);
    total.head += fusion.head;
    total.scratch = std::max(total.scratch, fusion.scratch - reused);
  }
  return total;
}

bool RegionsFit(const MemoryPlan& plan) {
  uint64_t end = 0;
  for (int32_t i = 0; i < kRegionCount; ++i) {
    const Region& region = plan.regions[static_cast<size_t>(i)];
    if (region.offset > plan.block_size || region.size > plan.block_size - region.offset) return false;
    if (i >= kScratch) continue;
    if (region.offset < end) return false;
    end = region.offset + region.size;
  }
  return end <= plan.head_size && plan[kScratch].offset >= plan.head_size &&
         plan[kLastFrameScratch].offset >= plan[kAlignedFrame].offset;
}

bool MakeMemoryPlan(int32_t width, int32_t height, bool planar, bool fusion_configured, MemoryPlan* plan) {
  *plan = {};
  const int64_t pixels = PixelCount(width, height);
  if (pixels > int64_t{UINT32_MAX}) return false;
  const MemSize total = PublicMemSizes(width, height, planar, fusion_configured);
  const int64_t head = RoundUp16(total.head);
  if (head + total.scratch > int64_t{UINT32_MAX}) return false;
  plan->head_size = static_cast<uint64_t>(head);
  plan->block_size = static_cast<uint64_t>(head + total.scratch);

  uint64_t cursor = 0;
  const auto append = [&](RegionName name, int64_t size) {
    plan->regions[name] = {cursor, static_cast<uint64_t>(size)};
    cursor += static_cast<uint64_t>(size);
  };
  append(kFirstFrame, 3 * pixels / 2);
  append(kChromaPlanes, planar ? 0 : pixels / 2);
  append(kWeightMap, pixels);
  append(kAlignedFrame, 3 * pixels / 2);
  append(kRegistrationData, RegistrationHead(width, height) - 3 * pixels / 2);
  append(kGhostMap, pixels);

  const auto to_the_end = [&](RegionName name, uint64_t offset) {
    plan->regions[name] = {offset, plan->block_size - offset};
  };
  to_the_end(kScratch, plan->head_size);
  to_the_end(kLastFrameScratch, plan->regions[kAlignedFrame].offset);
  to_the_end(kFusionScratch, plan->regions[kRegistrationData].offset);
  return RegionsFit(*plan);
}

}  // namespace zolt
