#include "fusion/wavelet_detail_fusion.h"

#include <algorithm>
#include <cstring>

#include "base/alloc_hooks.h"
#include "fusion/band_fusion.h"
#include "fusion/band_thresholds.h"
#include "fusion/finest_level.h"
#include "fusion/fusion_workers.h"
#include "fusion/wavelet_levels.h"
#include "kernels/recursive_filter.h"

namespace zolt {
namespace {

/// Rows that a stripe of the recursive filter runs in before its own, so that its state has settled.
constexpr int kWarmUpRows = 32;

/// A worker's part of the recursive filter: a state row, then its stripe with the warm-up.
uint64_t StripeBytes(int w, int h) {
  const int rows = h / kFusionWorkers + h % kFusionWorkers + kWarmUpRows;
  return static_cast<uint64_t>(w) * sizeof(int32_t) +
         (static_cast<uint64_t>(rows) * static_cast<uint64_t>(w) + 1) / 2 * 4;
}

// One pass over the plane in four stripes that all read it as it was before the pass. A stripe starts
// kWarmUpRows ahead of its rows in the pass's direction; where the plane itself starts there is none, and the
// pass's first pixel stays.
template <typename Pass>
void RunPass(int16_t* plane, int w, int h, bool forward, uint8_t* scratch, Pass&& pass) {
  const uint64_t bytes = StripeBytes(w, h);
  const auto stripe_of = [&](int worker) {
    return reinterpret_cast<int16_t*>(scratch + static_cast<uint64_t>(worker) * bytes +
                                      static_cast<uint64_t>(w) * sizeof(int32_t));
  };
  const auto first_of = [&](int64_t row) { return forward ? std::max<int64_t>(0, row - kWarmUpRows) : row; };
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h, worker);
    const int64_t end = share.first + share.count;
    const int64_t first = first_of(share.first);
    const int64_t last = forward ? end : std::min<int64_t>(h, end + kWarmUpRows);
    int16_t* stripe = stripe_of(worker);
    const int16_t* source = plane + first * w;
    const int64_t corner = forward ? 0 : (last - first) * w - 1;
    stripe[corner] = source[corner];
    pass(reinterpret_cast<int32_t*>(scratch + static_cast<uint64_t>(worker) * bytes), source, stripe,
         static_cast<int>(last - first));
  });
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h, worker);
    std::memcpy(plane + share.first * w, stripe_of(worker) + (share.first - first_of(share.first)) * w,
                static_cast<size_t>(share.count * w) * sizeof(int16_t));
  });
}

void EdgeFilter(int16_t* plane, int w, int h, const RecursiveTables& tables, uint8_t* scratch) {
  const auto run = [&](auto filter) {
    return [&, filter](int32_t* state, const int16_t* source, int16_t* stripe, int rows) {
      filter(state, tables.tableStep, tables.tableStep, tables.tableBack, source, w, stripe, w, w, rows);
    };
  };
  RunPass(plane, w, h, true, scratch, run(RecursiveForward));
  RunPass(plane, w, h, false, scratch, run(RecursiveBackward));
}

/// The two images' bands and the mixed ones, of all levels but the finest.
struct LevelPlanes {
  int16_t *aligned, *prepared, *out;
};

// Mixes a level's detail bands, w x h each, and lifts it.
void FuseLevel(const LevelPlanes& planes, int level, int w, int h, const FusionPara& fusion,
               uint8_t* scratch) {
  const Bands a(planes.aligned, 2 * w, 2 * h), b(planes.prepared, 2 * w, 2 * h),
      out(planes.out, 2 * w, 2 * h);
  const auto threshold = LevelThresholds(fusion, level);
  FuseBand({a[2], b[2], out[2]}, w, h, threshold[0], scratch);
  FuseBand({a[1], b[1], out[1]}, w, h, threshold[1], scratch);
  FuseBand({a[3], b[3], out[3]}, w, h, threshold[2], scratch);
  LiftInverse(planes.out, 2 * w, 2 * h, reinterpret_cast<int16_t*>(scratch));
}

// All levels but the finest, and the recursive filter over what they give: half-size luma.
void FuseCoarseLevels(const LevelPlanes& planes, int w, int h, const FusionPara& fusion, uint8_t* scratch) {
  const int levels = fusion.bandLevels;
  for (int l = 1; l < levels; ++l) {
    LiftForward(planes.aligned, w >> l, h >> l, planes.out);
    LiftForward(planes.prepared, w >> l, h >> l, planes.out);
  }
  FuseLowPass({planes.aligned, planes.prepared, planes.out}, fusion.eighthWeight, w >> levels, h >> levels,
              fusion.bandThreshold[0], scratch);
  for (int l = 0; l + 1 < levels; ++l)
    FuseLevel(planes, l, w >> (levels - l), h >> (levels - l), fusion, scratch);
  RecursiveTables tables;
  BuildRecursiveLut(&tables, LowBandStrength(fusion.lumaLF), BackShare(fusion.detail));
  EdgeFilter(planes.out, w / 2, h / 2, tables, scratch);
}

uint64_t ScratchSize(int w, int h) {
  const uint64_t half_plane = static_cast<uint64_t>(w / 2) * static_cast<uint64_t>(h / 2) * sizeof(int16_t);
  return std::max({half_plane, FuseBandScratchSize(w / 4), FuseLowPassScratchSize(w / 4, h / 4),
                   kFusionWorkers * StripeBytes(w / 2, h / 2), LiftForwardScratchSize(w),
                   FinestLevelScratchSize(w)});
}

}  // namespace

uint64_t WaveletFusionArenaSize(int w, int h) {
  const uint64_t full = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  return (2 * full + full / 4) * sizeof(int16_t) + ScratchSize(w, h);
}

int32_t WaveletDetailFusion(const uint8_t* work_luma, const uint8_t* aligned_luma, uint8_t* out_luma,
                            uint8_t* arena, int w, int h, const FusionPara& fusion) {
  const auto full = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  RegionCutter cutter(arena, WaveletFusionArenaSize(w, h));
  LevelPlanes planes;
  planes.aligned = cutter.Take<int16_t>(full);
  planes.prepared = cutter.Take<int16_t>(full);
  planes.out = cutter.Take<int16_t>(full / 4);
  auto* scratch = cutter.Take<uint8_t>(ScratchSize(w, h));

  LiftForward(aligned_luma, w, h, planes.aligned, scratch);
  LiftForward(work_luma, w, h, planes.prepared, scratch);
  FuseCoarseLevels(planes, w, h, fusion, scratch);
  const FinestLevel finest = {
      w, h, planes.out, Bands(planes.aligned, w, h), Bands(planes.prepared, w, h), work_luma, out_luma};
  FinishFinestLevel(finest, LevelThresholds(fusion, fusion.bandLevels - 1).data(), fusion, scratch);
  return 0;
}

}  // namespace zolt
