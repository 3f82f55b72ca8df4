#include "fusion/exposure_fusion.h"

#include <algorithm>
#include <cstring>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/result_codes.h"
#include "fusion/band_thresholds.h"
#include "fusion/chroma_stage.h"
#include "fusion/fusion_workers.h"
#include "fusion/half_size.h"
#include "fusion/still_scene.h"
#include "fusion/tone_matched_fusion.h"
#include "fusion/wavelet_detail_fusion.h"
#include "kernels/frame_weight.h"

namespace zolt {
namespace {

// Frames that could not be aligned must not be fused: only the filtering gets stronger.
void GiveUpFusion(FusionPara* fusion) {
  std::fill_n(fusion->bandThreshold, 20, 0);
  fusion->ChromaFusionFlag = 0;
  fusion->chromaS = WrapAdd(fusion->chromaS, 10);
  fusion->lumaLF = WrapAdd(fusion->lumaLF, 5);
}

// Mean luma over every fourth pixel of every fourth row.
int32_t SparseMean(const YuvImage& image) {
  int64_t sum = 0;
  for (int y = 0; y < image.height; y += 4) {
    const uint8_t* row = image.y + static_cast<int64_t>(y) * image.width;
    for (int x = 0; x < image.width; x += 4) sum += row[x];
  }
  return static_cast<int32_t>(sum / ((static_cast<int64_t>(image.width) * image.height) >> 4));
}

bool IsStillAndDark(const YuvImage& image, const FusionPara& fusion) {
  const float pixels = static_cast<float>(int64_t{image.width} * image.height);
  const bool still = fusion.motionMax < fusion.maxShift && fusion.iso > fusion.isoTH &&
                     static_cast<float>(fusion.ghostTotal) < pixels * fusion.ghostTH;
  return still && fusion.lumaTH > SparseMean(image);
}

int32_t Fuse(const YuvImage& image, const YuvImage& aligned, uint8_t* work_luma, FusionPara* fusion,
             uint8_t* arena, uint64_t arena_size) {
  if (IsStillAndDark(image, *fusion)) {
    StillSceneFusion(image, work_luma, fusion, arena, arena_size);
  } else {
    const int32_t result = ToneMatchedFusion(image, aligned, work_luma, fusion, arena, arena_size);
    if (result != kOk) return result;
  }
  return WaveletDetailFusion(work_luma, aligned.y, image.y, arena, image.width, image.height, *fusion);
}

}  // namespace

int32_t ExposureFusion(const YuvImage& image, const YuvImage& aligned, const FusionPara& para) {
  FusionPara fusion = para;
  const int w = image.width;
  const int h = image.height;
  const uint64_t full = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  fusion.weightShift = WeightShift(fusion.frameTotal);
  FillBandThresholds(&fusion);
  if (fusion.registered == 0) GiveUpFusion(&fusion);

  // The luma that a path prepares, the frame counts at an eighth of the size (twice what they need), the
  // paths' arena.
  const uint64_t head = full + full / 2 + full / 32;
  const uint64_t arena_size =
      std::max({StillSceneArenaSize(w, h), ToneMatchedArenaSize(w, h), WaveletFusionArenaSize(w, h)});
  const StageScratch scratch(fusion.scratch, fusion.scratchSize, head + arena_size, kDenoisePool);
  if (!scratch) return kNoMemory;
  uint8_t* work_luma = scratch.data();
  fusion.eighthWeight = work_luma + full + full / 2;

  // A start that failed may have left fewer than four workers, which nobody else would end.
  const int32_t result = DenoisePool().Start() == 0
                             ? Fuse(image, aligned, work_luma, &fusion, scratch.data() + head, arena_size)
                             : int32_t{kThreadFailure};
  DenoisePool().Stop();
  return result;
}

}  // namespace zolt
