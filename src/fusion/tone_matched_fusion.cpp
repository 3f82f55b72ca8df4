#include "fusion/tone_matched_fusion.h"

#include <algorithm>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "fusion/bgr_conversion.h"
#include "fusion/chroma_stage.h"
#include "fusion/detail_mix.h"
#include "fusion/fusion_workers.h"
#include "fusion/half_size.h"
#include "fusion/pyramid_fusion.h"
#include "fusion/tone_matching.h"
#include "ghost/ghost_detection.h"
#include "kernels/box_downscale.h"
#include "kernels/pseudo_median.h"

namespace zolt {
namespace {

/// The arena in address order. `full` is the frame's pixel count.
struct ToneArena {
  ToneArena(uint8_t* arena, uint64_t arena_size, int64_t full) {
    RegionCutter cutter(arena, arena_size);
    const auto half = static_cast<uint64_t>(full / 4);
    for (PlaneSet* set : {&aligned_half, &accumulated_half, &fused_half}) {
      set->plane[0] = cutter.Take<uint8_t>(half);
      set->plane[1] = cutter.Take<uint8_t>(half / 4);
      set->plane[2] = cutter.Take<uint8_t>(half / 4);
    }
    chroma_scratch = arena + cutter.used();
    for (PlaneSet* set : {&aligned_bgr, &accumulated_bgr}) {
      for (uint8_t*& plane : set->plane) plane = cutter.Take<uint8_t>(half);
    }
    tones = cutter.Take<ToneTables>(1);
    scratch_size = arena_size - cutter.used();
    scratch = cutter.Take<uint8_t>(scratch_size);
  }

  PlaneSet aligned_half, accumulated_half, fused_half;
  uint8_t* chroma_scratch;  ///< of ChromaStage, over all that follows
  PlaneSet aligned_bgr, accumulated_bgr;
  ToneTables* tones;
  uint8_t* scratch;
  uint64_t scratch_size;
};

// A table per channel, each made by a worker of its own.
void ToneFromHistograms(const PlaneSet& aligned, const PlaneSet& accumulated, int w, int h, ToneTables* tones,
                        uint8_t* scratch) {
  constexpr int kChannels = 3;
  const int64_t room = static_cast<int64_t>(w) * h / 4;
  RunOnPool(
      DenoisePool(),
      [&](int c) {
        ToneFromHistogram(aligned.plane[c], accumulated.plane[c], w, h, tones->table[c], scratch + c * room);
      },
      kChannels);
}

// Rows in pairs, for the chroma row that two luma rows share: body(first row of the pair), on all workers.
template <typename Body>
void ForRowPairs(int h, Body&& body) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h / 2, worker);
    for (int64_t i = share.first; i < share.first + share.count; ++i) body(static_cast<int>(2 * i));
  });
}

void MatchTones(const ToneArena& arena, int w, int h) {
  ForRowPairs(h, [&](int row) {
    constexpr uint8_t kBlownOut = 252;
    YuvToBgr(arena.aligned_half, arena.aligned_bgr, w, row, 2);
    YuvToBgr(arena.accumulated_half, arena.accumulated_bgr, w, row, 2);
    HighlightSwap(arena.accumulated_bgr, arena.aligned_bgr, arena.aligned_half.plane[0], int64_t{row} * w,
                  2 * int64_t{w}, kBlownOut);
  });
  ToneFromHistograms(arena.aligned_bgr, arena.accumulated_bgr, w, h, arena.tones, arena.scratch);
  const int taps = ToneKernelSize(*arena.tones);
  for (auto& table : arena.tones->table) SmoothTone(table, taps);
  ForRowPairs(h, [&](int row) {
    for (int c = 0; c < 3; ++c)
      ApplyTone(arena.accumulated_bgr.plane[c] + int64_t{row} * w, 2 * int64_t{w}, arena.tones->table[c]);
    BgrToYuv(arena.accumulated_bgr, arena.fused_half, w, row, 2);
  });
}

// Compares the tone-matched image with the aligned frame at half size. The map is left at the scratch's
// start.
int32_t FindGhosts(const ToneArena& arena, int w, int h, const FusionPara& fusion, uint32_t* count) {
  const auto half = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  GhostStageInput input = {};
  input.images.count = 2;
  input.images.images[0] = {w, h, w, nullptr, nullptr, nullptr};
  const PlaneSet& aligned = arena.aligned_half;
  const PlaneSet& fused = arena.fused_half;
  input.images.images[1] = {w, h, w, aligned.plane[0], aligned.plane[1], aligned.plane[2]};
  input.firstImages.count = 1;
  input.firstImages.images[0] = {w, h, w, fused.plane[0], fused.plane[1], fused.plane[2]};
  input.enabled = 1;
  input.thresholds = {fusion.deghost[0], fusion.deghost[1], fusion.deghost[2],
                      fusion.deghost[3], fusion.deghost[4], fusion.deghost[5]};
  input.scratch = arena.scratch + 2 * half;
  input.scratchSize = arena.scratch_size - 2 * half;
  *count = 0;
  std::fill_n(arena.scratch, half, uint8_t{0});
  return GhostDetection(&input, {arena.scratch, count});
}

// Where nothing moved the chroma becomes the mean of both images. 3 when too much moved for a fusion at all.
int32_t FuseChroma(const ToneArena& arena, int w, int h, FusionPara* fusion) {
  const int64_t half = static_cast<int64_t>(w) * h;
  uint32_t moved = 0;
  const int32_t result = FindGhosts(arena, w, h, *fusion, &moved);
  if (result != kOk || moved > (7 * half) >> 3) {
    LogError("%s", "ExposureFusion:too much ghost!");
    return kTooMuchGhost;
  }
  if (moved > half / 3) {
    std::fill(std::begin(fusion->bandThreshold), std::end(fusion->bandThreshold), 0);
    fusion->chromaS = WrapAdd(fusion->chromaS, 10);
    fusion->lumaLF = WrapAdd(fusion->lumaLF, 5);
    return kOk;
  }
  uint8_t* mask = arena.scratch + half;
  Down2Plane(arena.scratch, h, w, mask);
  OnFusionWorkers([&](int worker) {
    const int64_t quarter = half / 4 / kFusionWorkers;
    const int64_t first = quarter * worker;
    for (int c = 1; c < 3; ++c) {
      ChromaMix(arena.fused_half.plane[c] + first, arena.aligned_half.plane[c] + first, mask + first,
                quarter);
    }
  });
  return kOk;
}

// Calms the half-size luma where few frames were folded.
void MixMedian(const ToneArena& arena, int w, int h, FusionPara* fusion) {
  const int64_t half = static_cast<int64_t>(w) * h;
  uint8_t* luma = arena.fused_half.plane[0];
  uint8_t* median = arena.scratch;
  PseudoMedian3x3(luma, w, median, w, w, h, arena.scratch + half);
  fusion->halfWeight = arena.scratch + half;
  Down2Plane(fusion->weightMap, 2 * h, 2 * w, fusion->halfWeight);
  Box4Down(fusion->halfWeight, h, w, fusion->eighthWeight);
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(half, worker);
    WeightedMix(luma + share.first, median + share.first, fusion->halfWeight + share.first, share.count,
                fusion->weightShift);
  });
}

}  // namespace

uint64_t ToneMatchedArenaSize(int w, int h) {
  const uint64_t full = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  const uint64_t half_sets = full * 9 / 8, colour_sets = full * 3 / 2;
  // Behind the tables: two maps of half size and ghost detection's own room, or the pyramids, or rows.
  const uint64_t ghost = full / 2 + 2 * full;
  const uint64_t scratch =
      std::max({RestoreDetailScratchSize(w), ghost, PyramidFusionScratchSize(w / 2, h / 2)});
  return half_sets + std::max(colour_sets + sizeof(ToneTables) + scratch, ChromaStageScratchSize(w, h));
}

int32_t ToneMatchedFusion(const YuvImage& image, const YuvImage& aligned, uint8_t* work_luma,
                          FusionPara* fusion, uint8_t* arena_start, uint64_t arena_size) {
  const int w = image.width;
  const int h = image.height;
  const int64_t full = static_cast<int64_t>(w) * h;
  const ToneArena arena(arena_start, arena_size, full);

  Down2Planes(aligned, arena.aligned_half);
  Down2Planes(image, arena.accumulated_half);
  MatchTones(arena, w / 2, h / 2);
  if (fusion->ChromaFusionFlag != 0) {
    const int32_t result = FuseChroma(arena, w / 2, h / 2, fusion);
    if (result != kOk) return result;
  }
  if (fusion->HDRFusionFlag != 0) {
    const int32_t result = HdrPyramidFusion(arena.fused_half, arena.accumulated_half, arena.fused_half, w / 2,
                                            h / 2, arena.scratch);
    if (result != kOk) return result;
    Down2Plane(image.y, h, w, arena.accumulated_half.plane[0]);  // its weights stand there
  }
  MixMedian(arena, w / 2, h / 2, fusion);

  RestoreDetail(arena.fused_half.plane[0], image.y, arena.accumulated_half.plane[0], h, w, work_luma, *fusion,
                arena.scratch);
  ChromaStage(*fusion, w, h, arena.fused_half, arena.fused_half, arena.chroma_scratch);
  Up2Plane(arena.fused_half.plane[1], h / 4, w / 4, image.u);
  Up2Plane(arena.fused_half.plane[2], h / 4, w / 4, image.v);
  return kOk;
}

}  // namespace zolt
