#include "fusion/band_fusion.h"

#include <algorithm>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/reciprocal_estimate.h"
#include "base/vector_clones.h"
#include "fusion/fusion_workers.h"

namespace zolt {
namespace {

// The columns' sums of squares of a - b (or of a alone), once a row enters or leaves them.
template <bool kLeaves>
void AddSquares(const int16_t* __restrict a, const int16_t* __restrict b, uint32_t* __restrict sums, int w) {
  const auto square = [](int d) { return static_cast<uint32_t>(kLeaves ? -(d * d) : d * d); };
  if (b == nullptr) {
    for (int x = 0; x < w; ++x) sums[x] += square(a[x]);
  } else {
    for (int x = 0; x < w; ++x) sums[x] += square(static_cast<int16_t>(a[x] - b[x]));
  }
}

// E of a row, of the sums of its columns.
void EnergyRow(const uint32_t* __restrict c, int16_t* __restrict energy, int w) {
  for (int x = 0; x < w; ++x) {
    const uint32_t sum = c[x] + c[x + 1] + c[x + 2] + c[x + 3] + c[x + 4] + c[x + 5] + c[x + 6];
    energy[x] = SaturateS16(static_cast<int32_t>(sum) >> 6);
  }
}

int16_t Mix(int16_t a, int16_t b, int32_t k) {
  const auto d = static_cast<int16_t>(b - a);
  return static_cast<int16_t>(WrapSub(b * 256, WrapMul(k, d)) >> 8);
}

ZOLT_VECTOR_CLONES void FuseBandRow(const int16_t* __restrict a, const int16_t* __restrict b,
                                    const int16_t* __restrict energy, int16_t* __restrict out, int w,
                                    int32_t threshold, float scale) {
  for (int x = 0; x < w; ++x) {
    const auto kept = static_cast<int16_t>(std::min<int32_t>(energy[x], threshold));
    const auto k = static_cast<int32_t>(scale * static_cast<float>(threshold - kept));
    out[x] = Mix(a[x], b[x], k);
  }
}

// Threshold of one low-pass sample: `base` in blacks, ten times that where the prepared band's own energy,
// which its mean level dominates, is 66 and more, in 16 bits throughout.
int16_t LocalThreshold(int16_t base, int16_t energy) {
  if (energy <= 1) return base;
  const int steps = energy < 66 ? energy - 2 : 64;
  const auto rise = static_cast<int16_t>(static_cast<int16_t>(WrapMul(steps * 9, base)) >> 6);
  return static_cast<int16_t>(base + rise);
}

void FuseLowPassRow(const int16_t* a, const int16_t* b, const int16_t* difference_energy,
                    const int16_t* own_energy, int16_t* out, int w, int16_t base) {
  for (int x = 0; x < w; ++x) {
    const int16_t threshold = LocalThreshold(base, own_energy[x]);
    const int rest = threshold - std::min(difference_energy[x], threshold);
    const int32_t k = threshold == 0
                          ? 0
                          : TruncateToI32(256.0f * ReciprocalEstimate(static_cast<float>(threshold)) *
                                          static_cast<float>(rest));
    out[x] = Mix(a[x], b[x], k);
  }
}

constexpr int16_t Binomial3(int a, int b, int c) {
  return static_cast<int16_t>((a + 2 * b + c + 2) >> 2);
}

void SmoothRows(const int16_t* plane, int16_t* smooth, int w, int h) {
  for (int y = 0; y < h; ++y) {
    const int16_t* __restrict p = plane + static_cast<int64_t>(y) * w;
    int16_t* __restrict s = smooth + static_cast<int64_t>(y) * w;
    s[0] = Binomial3(p[1], p[0], p[1]);
    for (int x = 1; x + 1 < w; ++x) s[x] = Binomial3(p[x - 1], p[x], p[x + 1]);
    s[w - 1] = Binomial3(p[w - 2], p[w - 1], p[w - 2]);
  }
}

// The columns' pass of the smoothing and the mix with it.
void MixSmoothed(const int16_t* rows, const uint8_t* eighth_weight, int16_t* plane, int w, int h) {
  for (int y = 0; y < h; ++y) {
    const int64_t row = static_cast<int64_t>(y) * w;
    const int16_t* __restrict b = rows + row;
    const int16_t* a = y == 0 ? b + w : b - w;
    const int16_t* c = y == h - 1 ? b - w : b + w;
    const uint8_t* __restrict weight = eighth_weight + row;
    int16_t* __restrict out = plane + row;
    for (int x = 0; x < w; ++x) {
      const int folded = std::min(weight[x] >> 4, 4);
      out[x] =
          static_cast<int16_t>(((4 - folded) * Binomial3(a[x], b[x], c[x]) + (folded + 4) * out[x]) >> 3);
    }
  }
}

}  // namespace

EnergyRows::EnergyRows(const int16_t* a, const int16_t* b, int w, int h, uint32_t* columns)
    : a_(a), b_(b), w_(w), h_(h), columns_(columns) {}

void EnergyRows::Start(int first) {
  row_ = first;
  std::fill_n(columns_, Words(w_), 0u);
  for (int y = std::max(0, first - kRadius); y < std::min(h_, first + kRadius); ++y) Add<false>(y);
}

ZOLT_VECTOR_CLONES void EnergyRows::Next(int16_t* energy) {
  constexpr int16_t kLastColumnsCap = 4096;
  if (row_ + kRadius < h_) Add<false>(row_ + kRadius);
  EnergyRow(columns_, energy, w_);
  for (int x = std::max(0, w_ - kRadius); x < w_; ++x) energy[x] = std::min(energy[x], kLastColumnsCap);
  if (row_ - kRadius >= 0) Add<true>(row_ - kRadius);
  ++row_;
}

template <bool kLeaves>
void EnergyRows::Add(int y) {
  const int64_t row = static_cast<int64_t>(y) * w_;
  AddSquares<kLeaves>(a_ + row, b_ == nullptr ? nullptr : b_ + row, columns_ + kRadius, w_);
}

// One EnergyRows and a row of its results.
uint64_t FusedBandRows::ScratchSize(int w) {
  return EnergyRows::Words(w) * sizeof(uint32_t) + (static_cast<uint64_t>(w) + 1) / 2 * sizeof(uint32_t);
}

FusedBandRows::FusedBandRows(const int16_t* a, const int16_t* b, int w, int h, int32_t threshold,
                             uint8_t* scratch)
    : a_(a),
      b_(b),
      w_(w),
      threshold_(threshold),
      energy_(b, a, w, h, reinterpret_cast<uint32_t*>(scratch)),
      energy_row_(reinterpret_cast<int16_t*>(scratch + EnergyRows::Words(w) * sizeof(uint32_t))) {}

void FusedBandRows::Start(int first) {
  row_ = first;
  if (threshold_ > 0) energy_.Start(first);
}

void FusedBandRows::Next(int16_t* out) {
  const int64_t row = static_cast<int64_t>(row_++) * w_;
  if (threshold_ <= 0) {
    std::copy_n(b_ + row, w_, out);
    return;
  }
  energy_.Next(energy_row_);
  FuseBandRow(a_ + row, b_ + row, energy_row_, out, w_, threshold_, 256.0f / static_cast<float>(threshold_));
}

uint64_t FuseBandScratchSize(int w) {
  return kFusionWorkers * FusedBandRows::ScratchSize(w);
}

uint64_t FuseLowPassScratchSize(int w, int h) {
  return 2 * FusedBandRows::ScratchSize(w) + 2 * static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
}

void FuseBand(const BandPlanes& band, int w, int h, int32_t threshold, uint8_t* scratch) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h, worker);
    FusedBandRows rows(band.a, band.b, w, h, threshold,
                       scratch + static_cast<uint64_t>(worker) * FusedBandRows::ScratchSize(w));
    rows.Start(static_cast<int>(share.first));
    for (int64_t y = share.first; y < share.first + share.count; ++y) rows.Next(band.out + y * w);
  });
}

void FuseLowPass(const BandPlanes& band, const uint8_t* eighth_weight, int w, int h, int32_t threshold,
                 uint8_t* scratch) {
  if (threshold == 0) {
    std::copy_n(band.b, static_cast<int64_t>(w) * h, band.out);
    return;
  }
  RegionCutter cutter(scratch, FuseLowPassScratchSize(w, h));
  EnergyRows difference(band.b, band.a, w, h, cutter.Take<uint32_t>(EnergyRows::Words(w)));
  EnergyRows own(band.b, nullptr, w, h, cutter.Take<uint32_t>(EnergyRows::Words(w)));
  auto* difference_energy = cutter.Take<int16_t>(static_cast<uint64_t>(w));
  auto* own_energy = cutter.Take<int16_t>(static_cast<uint64_t>(w));
  auto* smooth = cutter.Take<int16_t>(static_cast<uint64_t>(w) * static_cast<uint64_t>(h));
  const auto base = static_cast<int16_t>(threshold / 10);
  difference.Start(0);
  own.Start(0);
  for (int64_t y = 0; y < h; ++y) {
    difference.Next(difference_energy);
    own.Next(own_energy);
    FuseLowPassRow(band.a + y * w, band.b + y * w, difference_energy, own_energy, band.out + y * w, w, base);
  }
  SmoothRows(band.out, smooth, w, h);
  MixSmoothed(smooth, eighth_weight, band.out, w, h);
}

}  // namespace zolt
