#pragma once

#include <cstdint>

namespace zolt {

/// One wavelet band of both images and of the result, w x h samples, dense. `out` holds b's samples on entry.
struct BandPlanes {
  const int16_t* a;  ///< aligned frame
  const int16_t* b;  ///< prepared luma
  int16_t* out;
};

/// Bytes of scratch that FuseBand needs for a band of w columns, and FuseLowPass for one of w x h.
uint64_t FuseBandScratchSize(int w);
uint64_t FuseLowPassScratchSize(int w, int h);

/// Mixes a detail band. With d = b - a, wrapped to 16 bits, and E the sum of d^2 over 7 x 7 samples (clipped
/// at the band's edges, wrapped to 32 bits) >> 6, saturated to 16 bits, or at most 4096 in the last 3
/// columns:
///   k = trunc((256 / T) (T - min(E, T))), out = (256 b - k d) >> 8
/// so E = 0 gives a, E >= T gives b. A threshold T of 0 or below leaves out = b. Scratch aligned to 4 bytes;
/// on the fusion's workers.
void FuseBand(const BandPlanes& band, int w, int h, int32_t threshold, uint8_t* scratch);

/// Mixes the coarsest low-pass band: the same, with a threshold of its own for each sample, T / 10 where b is
/// black, rising to T at a level of about 10, and 256 / T from the processor's reciprocal estimate. A T above
/// 569 makes the rise wrap. Where few frames were folded (`eighth_weight`, w x h, below 64) up to half of the
/// result is then smoothed by 1-2-1. Threshold 0: nothing.
void FuseLowPass(const BandPlanes& band, const uint8_t* eighth_weight, int w, int h, int32_t threshold,
                 uint8_t* scratch);

}  // namespace zolt
