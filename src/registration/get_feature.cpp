#include "registration/get_feature.h"

#include <algorithm>
#include <cstdio>

#include "base/alloc_hooks.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "kernels/box_downscale.h"
#include "registration/descriptors.h"
#include "registration/luma_statistics.h"
#include "registration/matching.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

constexpr int32_t kJobs = 4;
constexpr int32_t kMinKeypoints = 5;

/// Stops the pool on every way out.
struct PoolStopper {
  ~PoolStopper() { RegistrationPool().Stop(); }
};

/// One call's constants.
struct Setting {
  DetectionSize size;
  SurfParams params;
  MfAllocHooks hooks;
};

/// 4:1 reduction of a frame's luma, whole blocks of four rows per job.
void ReduceLuma(const YuvImage& frame, uint8_t* reduced) {
  const int32_t rows_per_job = frame.height / 16 * 4;
  RunOnPool(RegistrationPool(), [&](int32_t job) {
    const int32_t first = job * rows_per_job;
    const int32_t rows = job == kJobs - 1 ? frame.height - first : rows_per_job;
    Box4Down(frame.y + static_cast<int64_t>(first) * frame.width, rows, frame.width,
             reduced + static_cast<int64_t>(first / 4) * (frame.width / 4));
  });
}

/// Detects and describes; `features->count` is set even when the descriptors fail.
int32_t DetectFeatures(const DetectionImage& image, const Setting& setting, const RegistrationWork& work,
                       FeatureList* features) {
  const IntegralImage integral = BuildIntegralImage(image, work.integral);
  features->count = DetectKeypoints(integral, setting.params.hessianDet, work.buffers, features->keypoints);
  return DescribeKeypoints(image, *features, setting.hooks);
}

int32_t MeasureReference(const DetectionImage& image, const Setting& setting, const RegArena& arena) {
  const HookBlock histogram(kLumaLevels * sizeof(uint32_t), kRegistrationPool, setting.hooks);
  if (!histogram) {
    LogError("GetFeatureSurf_neon: malloc failed!");
    return kNoMemory;
  }
  MeasureLuma(image, reinterpret_cast<uint32_t*>(histogram.data()), arena.peak_level, arena.luma_level);
  return kOk;
}

/// Fills the arena; the stored count stays 0 until everything else is there.
int32_t StoreReference(const RegistrationInput& request, const Setting& setting, const RegArena& arena,
                       uint8_t* work_block) {
  const bool reduced = setting.size.scale != 1;
  if (reduced) ReduceLuma(request.reference, arena.image);
  const DetectionImage image = {reduced ? arena.image : request.reference.y, setting.size.width,
                                setting.size.height};
  if (request.flagC != 0) {
    if (const int32_t result = MeasureReference(image, setting, arena); result != kOk) return result;
  }
  if (request.flagB != 0) CumulateHistogram(image, arena.histogram);

  FeatureList features = {arena.keypoints, arena.descriptors, 0};
  const RegistrationWork work = CutReferenceWork(work_block, setting.size);
  if (const int32_t result = DetectFeatures(image, setting, work, &features); result != kOk) return result;
  if (features.count < kMinKeypoints) {
    *arena.keypoint_count = features.count;
    LogInfo("GETFEATURE_SURF: wrong input image for first frame!");
    return kNotAligned;
  }
  if (const int32_t result = BuildForest(features, arena.forest, setting.hooks); result != kOk) return result;
  *arena.keypoint_count = features.count;
  return kOk;
}

/// The image to search in: the reduced luma, or the frame's own, remapped if asked for.
DetectionImage CurrentImage(const RegistrationInput& request, const Setting& setting, const RegArena& arena,
                            const RegistrationWork& work) {
  uint8_t* pixels = request.input.y;
  if (setting.size.scale != 1) {
    ReduceLuma(request.input, work.image);
    pixels = work.image;
  }
  if (request.flagB != 0) MatchHistogram(pixels, setting.size.width, setting.size.height, arena.histogram);
  return {pixels, setting.size.width, setting.size.height};
}

}  // namespace

SurfParams SurfParamsFor(int32_t iso) {
  const float value = static_cast<float>(iso);
  if (value <= 1600.0f) return {200.0f, 0.65f};
  if (value <= 3200.0f) return {250.0f, 0.45f};
  return {250.0f, 0.4f};
}

int32_t GetFeature(const RegistrationInput& request, const RegArena& arena, uint8_t* work_block,
                   MatchSet* matches) {
  if (RegistrationPool().Start() != 0) {
    std::fputs("Create Thread Failed!", stdout);
    return kThreadFailure;
  }
  const PoolStopper stopper;
  const Setting setting = {DetectionSizeOf(request.input.width, request.input.height),
                           SurfParamsFor(request.iso),
                           {request.alloc, request.free}};
  if (request.isFirstFrame != 0) {
    if (const int32_t result = StoreReference(request, setting, arena, work_block); result != kOk)
      return result;
  }
  const FeatureList reference = {arena.keypoints, arena.descriptors, *arena.keypoint_count};
  if (reference.count < kMinKeypoints) {
    LogInfo("GETFEATURE_SURF: not enough keypoints!");
    return kNotAligned;
  }

  const RegistrationWork work = CutCurrentWork(work_block, setting.size);
  FeatureList current = work.current;
  const DetectionImage image = CurrentImage(request, setting, arena, work);
  if (const int32_t result = DetectFeatures(image, setting, work, &current); result != kOk) return result;
  if (current.count < kMinKeypoints) {
    LogInfo("GETFEATURE_SURF: not enough keypoints!");
    return kNotAligned;
  }
  const int32_t coarse =
      MatchCoarse(reference, current, arena.forest, matches, setting.params.matchRatio, setting.hooks);
  if (coarse != kOk) return coarse;
  return MatchFine(setting.size.scale, matches, request.flagE != 0, setting.hooks);
}

}  // namespace zolt
