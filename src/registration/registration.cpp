#include "registration/registration.h"

#include <algorithm>

#include "base/alloc_hooks.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "registration/get_feature.h"
#include "registration/motion_area.h"
#include "registration/registration_arena.h"
#include "registration/warp.h"

namespace zolt {
namespace {

/// A failed first call must leave nothing that a later one takes for features of this burst.
void ClearReference(const RegArena& arena) {
  *arena.keypoint_count = 0;
  *arena.peak_level = 0;
  *arena.luma_level = 0;
  std::fill_n(arena.histogram, 256, 0u);
}

int32_t Align(const RegistrationInput& request, const RegArena& arena, uint8_t* work, MotionModel* model) {
  MatchSet matches = {arena.reference_points, arena.current_points, 0, {},
                      arena.peak_level,       arena.luma_level};
  int32_t result = GetFeature(request, arena, work, &matches);
  model->peakLevel = *arena.peak_level;
  model->lumaLevel = *arena.luma_level;
  if (result != kOk) {
    LogError("%s", "GetFeature FAILED!");
    return result;
  }
  std::copy_n(matches.homography, 9, model->homography);
  model->matchSetRef = &matches;

  result = MotionArea(model->homography, request.input.width, request.input.height, model->motionRect);
  if (result != kOk || request.doWarp == 0) return result;
  result = WarpFrame(request.input, model->aligned, model->homography, model->motionRect, arena.column_table,
                     request.planeCount);
  if (result != kOk) LogError("%s", "ImgRegistration FAILED!");
  return result;
}

}  // namespace

int32_t ImgRegistration(RegistrationInput* request, MotionModel* model, uint8_t* arena_block,
                        uint64_t arena_size) {
  if (request->alloc == nullptr || request->free == nullptr) {
    request->alloc = DefaultHooks().alloc;
    request->free = DefaultHooks().free;
  }
  const int32_t w = request->input.width, h = request->input.height;
  RegArena arena;
  if (!CutArena(arena_block, arena_size, w, h, &arena)) return kNoMemory;
  if (request->isFirstFrame != 0) ClearReference(arena);

  const uint64_t need = WorkNeed(DetectionSizeOf(w, h));
  const MfAllocHooks hooks = {request->alloc, request->free};
  HookBlock own;
  void* room = request->workMem;
  uint64_t room_size = request->workMemSize;
  if (room == nullptr || room_size < need + 3) {  // 3: what aligning the address may cost
    own.TakeBytes(WorkAllocation(w, h), kRegistrationPool, hooks);
    if (!own) return kNoMemory;
    room = own.data();
    room_size = WorkAllocation(w, h);
  }
  const StageScratch work(room, room_size, need, kRegistrationPool, hooks);
  if (!work) return kNoMemory;
  return Align(*request, arena, work.data(), model);
}

}  // namespace zolt
