#include "fusion/band_fusion.h"

#include <algorithm>
#include <cstring>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/reciprocal_estimate.h"
#include "base/vector_clones.h"
#include "fusion/fusion_workers.h"

namespace zolt {
namespace {

constexpr int kRadius = 3;

/// Sums of squares over 7 x 7 samples of a - b (or of a alone), row by row downward: the columns' sums are
/// kept from row to row, so that a row costs two squares and seven additions a sample whatever the window.
class EnergyRows {
 public:
  static uint64_t Words(int w) { return static_cast<uint64_t>(w) + 2 * kRadius; }

  /// `columns` is Words(w) words. b may be null.
  EnergyRows(const int16_t* a, const int16_t* b, int w, int h, uint32_t* columns)
      : a_(a), b_(b), w_(w), h_(h), columns_(columns) {
    std::fill_n(columns_, Words(w), 0u);
  }

  /// Prepares for row `first`; Next then gives it and the rows behind it.
  void Start(int first) {
    row_ = first;
    for (int y = std::max(0, first - kRadius); y < std::min(h_, first + kRadius); ++y) Add<false>(y);
  }

  /// E of the next row, 16 bits.
  void Next(int16_t* __restrict energy) {
    if (row_ + kRadius < h_) Add<false>(row_ + kRadius);
    const uint32_t* __restrict c = columns_;
    for (int x = 0; x < w_; ++x) {
      const uint32_t sum = c[x] + c[x + 1] + c[x + 2] + c[x + 3] + c[x + 4] + c[x + 5] + c[x + 6];
      energy[x] = SaturateS16(static_cast<int32_t>(sum) >> 6);
    }
    for (int x = std::max(0, w_ - kRadius); x < w_; ++x)
      energy[x] = std::min<int16_t>(energy[x], kLastColumnsCap);
    if (row_ - kRadius >= 0) Add<true>(row_ - kRadius);
    ++row_;
  }

 private:
  static constexpr int16_t kLastColumnsCap = 4096;

  template <bool kLeaves>
  void Add(int y) {
    const int64_t row = static_cast<int64_t>(y) * w_;
    const int16_t* __restrict a = a_ + row;
    uint32_t* __restrict sums = columns_ + kRadius;
    if (b_ == nullptr) {
      for (int x = 0; x < w_; ++x) sums[x] += Square<kLeaves>(a[x]);
    } else {
      const int16_t* __restrict b = b_ + row;
      for (int x = 0; x < w_; ++x) sums[x] += Square<kLeaves>(static_cast<int16_t>(a[x] - b[x]));
    }
  }

  template <bool kLeaves>
  static uint32_t Square(int16_t d) {
    const auto square = static_cast<uint32_t>(d * d);
    return kLeaves ? 0u - square : square;
  }

  const int16_t* a_;
  const int16_t* b_;
  int w_, h_;
  uint32_t* columns_;  ///< kRadius zeros at each end
  int row_ = 0;
};

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

// One EnergyRows and a row of its results, a multiple of 4 bytes.
uint64_t EnergyScratchSize(int w) {
  return EnergyRows::Words(w) * sizeof(uint32_t) + (static_cast<uint64_t>(w) + 1) / 2 * sizeof(uint32_t);
}

}  // namespace

uint64_t FuseBandScratchSize(int w) {
  return kFusionWorkers * EnergyScratchSize(w);
}

uint64_t FuseLowPassScratchSize(int w, int h) {
  return 2 * EnergyScratchSize(w) + 2 * static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
}

void FuseBand(const BandPlanes& band, int w, int h, int32_t threshold, uint8_t* scratch) {
  if (threshold <= 0) return;
  const float scale = 256.0f / static_cast<float>(threshold);
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h, worker);
    if (share.count == 0) return;
    const uint64_t size = EnergyScratchSize(w);
    RegionCutter cutter(scratch + static_cast<uint64_t>(worker) * size, size);
    EnergyRows rows(band.b, band.a, w, h, cutter.Take<uint32_t>(EnergyRows::Words(w)));
    auto* energy = cutter.Take<int16_t>(static_cast<uint64_t>(w));
    rows.Start(static_cast<int>(share.first));
    for (int64_t y = share.first; y < share.first + share.count; ++y) {
      rows.Next(energy);
      FuseBandRow(band.a + y * w, band.b + y * w, energy, band.out + y * w, w, threshold, scale);
    }
  });
}

void FuseLowPass(const BandPlanes& band, const uint8_t* eighth_weight, int w, int h, int32_t threshold,
                 uint8_t* scratch) {
  if (threshold == 0) return;
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
