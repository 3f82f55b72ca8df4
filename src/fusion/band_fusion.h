#pragma once

#include <cstdint>

namespace zolt {

/// One wavelet band of both images and of the result, w x h samples, dense.
struct BandPlanes {
  const int16_t* a;  ///< aligned frame
  const int16_t* b;  ///< prepared luma
  int16_t* out;
};

/// Sums of squares over 7 x 7 samples of a - b (or of a alone), row by row downward: the columns' sums are
/// kept from row to row, so that a row costs two squares and seven additions a sample whatever the window.
class EnergyRows {
 public:
  /// Words that `columns` takes.
  static uint64_t Words(int w) { return static_cast<uint64_t>(w) + 2 * kRadius; }

  /// b may be null.
  EnergyRows(const int16_t* a, const int16_t* b, int w, int h, uint32_t* columns);

  /// Prepares for row `first`; Next then gives E of it and of the rows behind it, 16 bits.
  void Start(int first);
  void Next(int16_t* energy);

 private:
  static constexpr int kRadius = 3;

  template <bool kLeaves>
  void Add(int y);

  const int16_t* a_;
  const int16_t* b_;
  int w_, h_;
  uint32_t* columns_;  ///< kRadius zeros at each end
  int row_ = 0;
};

/// The rows of a mixed detail band, one after the other, for whoever needs no plane of them. All as FuseBand
/// has it.
class FusedBandRows {
 public:
  /// Bytes of scratch for a band of w columns, a multiple of 4.
  static uint64_t ScratchSize(int w);

  FusedBandRows(const int16_t* a, const int16_t* b, int w, int h, int32_t threshold, uint8_t* scratch);

  /// Prepares for row `first`; Next then writes it and the rows behind it.
  void Start(int first);
  void Next(int16_t* out);

 private:
  const int16_t* a_;
  const int16_t* b_;
  int w_;
  int32_t threshold_;
  EnergyRows energy_;
  int16_t* energy_row_;
  int row_ = 0;
};

/// Bytes of scratch that FuseBand needs for a band of w columns, and FuseLowPass for one of w x h.
uint64_t FuseBandScratchSize(int w);
uint64_t FuseLowPassScratchSize(int w, int h);

/// Mixes a detail band. With d = b - a, wrapped to 16 bits, and E the sum of d^2 over 7 x 7 samples (clipped
/// at the band's edges, wrapped to 32 bits) >> 6, saturated to 16 bits, or at most 4096 in the last 3
/// columns:
///   k = trunc((256 / T) (T - min(E, T))), out = (256 b - k d) >> 8
/// so E = 0 gives a, E >= T gives b. A threshold T of 0 or below gives out = b. Scratch aligned to 4 bytes;
/// on the fusion's workers.
void FuseBand(const BandPlanes& band, int w, int h, int32_t threshold, uint8_t* scratch);

/// Mixes the coarsest low-pass band: the same, with a threshold of its own for each sample, T / 10 where b is
/// black, rising to T at a level of about 10, and 256 / T from the processor's reciprocal estimate. A T above
/// 569 makes the rise wrap. Where few frames were folded (`eighth_weight`, w x h, below 64) up to half of the
/// result is then smoothed by 1-2-1. Threshold 0 gives out = b.
void FuseLowPass(const BandPlanes& band, const uint8_t* eighth_weight, int w, int h, int32_t threshold,
                 uint8_t* scratch);

}  // namespace zolt
