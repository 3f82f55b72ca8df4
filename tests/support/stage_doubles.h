#pragma once

#include <cstdint>
#include <functional>

#include "fusion/exposure_fusion.h"
#include "ghost/ghost_detection.h"
#include "noise/nr_stage_context.h"
#include "registration/registration.h"

namespace zolt::test {

/// What stands in for a stage when the pipeline above it is tested; an empty function leaves the real stage.
/// Taken away again when the object goes.
struct StageDoubles {
  StageDoubles();
  ~StageDoubles();
  StageDoubles(const StageDoubles&) = delete;
  StageDoubles& operator=(const StageDoubles&) = delete;

  /// Registration gives up, nothing has moved, and what finishes an image leaves it as it is: only the fold
  /// works.
  void FoldOnly();

  std::function<int32_t(RegistrationInput*, MotionModel*, uint8_t* arena, uint64_t arena_size)> registration;
  std::function<int32_t(GhostStageInput*, const GhostMask&)> ghost;
  std::function<int32_t(const NrStageContext&, const YuvImage&)> temporal;
  std::function<int32_t(const NrStageContext&, const YuvImage&)> spatial_low;
  std::function<int32_t(const NrStageContext&, const YuvImage&)> spatial_high;
  std::function<int32_t(const YuvImage& image, const YuvImage& aligned, const FusionPara&)> fusion;
};

}  // namespace zolt::test
