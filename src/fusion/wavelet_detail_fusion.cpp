#include "fusion/wavelet_detail_fusion.h"

#include <algorithm>
#include <cstring>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/vector_clones.h"
#include "fusion/band_fusion.h"
#include "fusion/band_thresholds.h"
#include "fusion/fusion_workers.h"
#include "kernels/lifting53.h"
#include "kernels/recursive_filter.h"

namespace zolt {
namespace {

/// Rows that a stripe of the recursive filter runs in before its own, so that its state has settled.
constexpr int kWarmUpRows = 32;

/// The four bands of one level, one behind the other, dense: low-pass, then high-pass along rows, along
/// columns, along both.
struct Bands {
  Bands(int16_t* region, int w, int h) : size(static_cast<int64_t>(w / 2) * (h / 2)), low(region) {}
  int16_t* operator[](int band) const { return low + band * size; }
  int64_t size;
  int16_t* low;
};

void WidenPlanes(const uint8_t* a, const uint8_t* b, int16_t* out_a, int16_t* out_b, int64_t count) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(count, worker);
    Widen8To16(a + share.first, out_a + share.first, share.count);
    Widen8To16(b + share.first, out_b + share.first, share.count);
  });
}

// One level on the top w x h of `region`: columns into `temporary`, rows back into the dense bands.
void LiftForward(int16_t* region, int w, int h, int16_t* temporary) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h / 2, worker);
    const PairRange pairs = {static_cast<int>(share.first), static_cast<int>(share.first + share.count),
                             h / 2};
    LiftColumnsForward(region, w, temporary, temporary + static_cast<int64_t>(h / 2) * w, w, w, pairs);
  });
  const Bands bands(region, w, h);
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h, worker);
    for (int64_t y = share.first; y < share.first + share.count; ++y) {
      const int lower = y < h / 2 ? 0 : 2;
      const int64_t row = (y % (h / 2)) * (w / 2);
      LiftRowForward(temporary + y * w, bands[lower] + row, bands[lower + 1] + row, w / 2);
    }
  });
}

void LiftInverse(int16_t* region, int w, int h, int16_t* temporary) {
  const Bands bands(region, w, h);
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h, worker);
    for (int64_t y = share.first; y < share.first + share.count; ++y) {
      const int lower = y < h / 2 ? 0 : 2;
      const int64_t row = (y % (h / 2)) * (w / 2);
      LiftRowInverse(bands[lower] + row, bands[lower + 1] + row, temporary + y * w, w / 2);
    }
  });
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h / 2, worker);
    const PairRange pairs = {static_cast<int>(share.first), static_cast<int>(share.first + share.count),
                             h / 2};
    LiftColumnsInverse(temporary, temporary + static_cast<int64_t>(h / 2) * w, w, region, w, w, pairs);
  });
}

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

/// What a pixel of the filtered luma weighs beside the prepared one: the frames folded there, capped, and
/// less in blacks. All in 16 bits, and modulo 2^16.
ZOLT_VECTOR_CLONES void FinishRun(const int16_t* __restrict filtered, const uint8_t* __restrict prepared,
                                  const uint8_t* __restrict folded, uint8_t* __restrict out, int64_t count,
                                  uint8_t cap, int shift) {
  const auto full = static_cast<uint16_t>((1 << shift) - 1), half = static_cast<uint16_t>(1 << (shift - 1));
  for (int64_t i = 0; i < count; ++i) {
    const uint16_t r = SaturateU8(filtered[i]);
    const auto frames = static_cast<uint16_t>(std::min(folded[i], cap));
    const auto product = static_cast<uint16_t>(std::min<uint16_t>(r, 32) * frames + 16);
    const auto w = static_cast<uint16_t>(product >> 5);
    const auto rest = static_cast<uint16_t>(full - w);
    const auto sum = static_cast<uint16_t>(static_cast<uint16_t>(r * rest) +
                                           static_cast<uint16_t>(prepared[i] * w) + half);
    out[i] = static_cast<uint8_t>(sum >> shift);
  }
}

void FinishLuma(const int16_t* filtered, const uint8_t* work_luma, uint8_t* out_luma, int64_t count,
                const FusionPara& fusion) {
  const int shift = fusion.weightShift;
  const int share = (std::min<int>(fusion.detailRestore, 128) << shift) >> 7;
  const auto cap = static_cast<uint8_t>(std::max(share - 1, 0));
  OnFusionWorkers([&](int worker) {
    const Share part = FusionShare(count, worker);
    FinishRun(filtered + part.first, work_luma + part.first, fusion.weightMap + part.first,
              out_luma + part.first, part.count, cap, shift);
  });
}

}  // namespace

uint64_t WaveletFusionArenaSize(int w, int h) {
  const uint64_t full = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  const uint64_t scratch = std::max({2 * full, FuseBandScratchSize(w / 2), FuseLowPassScratchSize(w, h),
                                     kFusionWorkers * StripeBytes(w / 2, h / 2)});
  return 6 * full + scratch;
}

int32_t WaveletDetailFusion(const uint8_t* work_luma, const uint8_t* aligned_luma, uint8_t* out_luma,
                            uint8_t* arena, int w, int h, const FusionPara& fusion) {
  const auto full = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  RegionCutter cutter(arena, WaveletFusionArenaSize(w, h));
  auto* bands_a = cutter.Take<int16_t>(full);
  auto* bands_b = cutter.Take<int16_t>(full);
  auto* bands_out = cutter.Take<int16_t>(full);
  auto* scratch = reinterpret_cast<uint8_t*>(cutter.Take<int16_t>(full));
  const auto count = static_cast<int64_t>(full);

  WidenPlanes(aligned_luma, work_luma, bands_a, bands_b, count);
  const int levels = fusion.bandLevels;
  for (int l = 0; l < levels; ++l) {
    LiftForward(bands_a, w >> l, h >> l, bands_out);
    LiftForward(bands_b, w >> l, h >> l, bands_out);
  }
  std::memcpy(bands_out, bands_b, full * sizeof(int16_t));

  FuseLowPass({bands_a, bands_b, bands_out}, fusion.eighthWeight, w >> levels, h >> levels,
              fusion.bandThreshold[0], scratch);
  for (int l = 0; l < levels; ++l) {
    const int band_w = w >> (levels - l);
    const int band_h = h >> (levels - l);
    const Bands a(bands_a, 2 * band_w, 2 * band_h);
    const Bands b(bands_b, 2 * band_w, 2 * band_h);
    const Bands out(bands_out, 2 * band_w, 2 * band_h);
    const auto threshold = LevelThresholds(fusion, l);
    FuseBand({a[2], b[2], out[2]}, band_w, band_h, threshold[0], scratch);
    FuseBand({a[1], b[1], out[1]}, band_w, band_h, threshold[1], scratch);
    FuseBand({a[3], b[3], out[3]}, band_w, band_h, threshold[2], scratch);
    LiftInverse(bands_out, 2 * band_w, 2 * band_h, reinterpret_cast<int16_t*>(scratch));
    if (l != levels - 2) continue;
    RecursiveTables tables;
    BuildRecursiveLut(&tables, LowBandStrength(fusion.lumaLF), BackShare(fusion.detail));
    EdgeFilter(bands_out, 2 * band_w, 2 * band_h, tables, scratch);
  }
  FinishLuma(bands_out, work_luma, out_luma, count, fusion);
  return 0;
}

}  // namespace zolt
