#include "noise/spatial_stage.h"

#include <array>
#include <cassert>

#include "base/alloc_hooks.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "noise/spatial_stripe.h"
#include "threads/fork_join.h"

namespace zolt {
namespace {

constexpr int32_t kSmallestSide = 256;

struct StripeSet {
  std::array<SpatialStripe, kSpatialStripes> stripes;
  StripeBarrier barrier{kSpatialStripes};
};

int32_t RunOne(void* argument, int32_t index) {
  return RunSpatialStripe(static_cast<StripeSet*>(argument)->stripes[static_cast<size_t>(index)]);
}

void CallOff(void* argument) {
  LogError("%s", "Thread Create Error!");
  static_cast<StripeSet*>(argument)->barrier.CallOff();
}

int32_t RunStage(const NrStageContext& context, const YuvImage& image, SpatialLevel level) {
  if (image.width < kSmallestSide || image.height < kSmallestSide) return kOk;
  assert(image.pitch == image.width && image.width % 16 == 0);
  const auto needed = static_cast<uint64_t>(SpatialScratchBytes(image.width, image.height));
  const StageScratch scratch(context.fusionScratch, context.fusionScratchSize, needed, kDenoisePool);
  if (!scratch) return kNoMemory;

  SpatialSettings settings;
  MakeSpatialSettings(context.nr, level, &settings);
  StripeSet set;
  RegionCutter cutter(scratch.data(), needed);
  const auto rows = SpatialStripeRows(image.height);
  for (size_t i = 0; i < rows.size(); ++i) {
    set.stripes[i] = MakeSpatialStripe(image, context.nr.weightMap, settings, &set.barrier, rows[i], &cutter);
  }

  int32_t statuses[kSpatialStripes] = {};
  ForkOptions options;
  options.on_start_failure = CallOff;
  if (!ForkJoin(RunOne, &set, kSpatialStripes, statuses, options)) return kThreadFailure;
  for (const int32_t status : statuses) {
    if (status != kOk) return 1;
  }
  return kOk;
}

}  // namespace

int32_t SpatialNrLowLevelMainCall(const NrStageContext& context, const YuvImage& image) {
  return RunStage(context, image, SpatialLevel::kLow);
}

int32_t SpatialNrHighLevelMainCall(const NrStageContext& context, const YuvImage& image) {
  return RunStage(context, image, SpatialLevel::kHigh);
}

}  // namespace zolt
