#pragma once

#include <cstdint>

namespace zolt {

// The wavelet's levels in place, on the fusion's workers.

/// The four bands of one level, one behind the other, dense: low-pass, then high-pass along rows, along
/// columns, along both. Each is half as wide and high as what was lifted.
struct Bands {
  Bands(int16_t* region, int w, int h) : size(static_cast<int64_t>(w / 2) * (h / 2)), low(region) {}
  int16_t* operator[](int band) const { return low + band * size; }
  int64_t size;
  int16_t* low;
};

/// The finest level of an 8-bit plane of w x h, straight into its bands at `region`.
void LiftForward(const uint8_t* plane, int w, int h, int16_t* region, uint8_t* scratch);
/// Bytes of scratch for that, aligned to 2.
uint64_t LiftForwardScratchSize(int w);

/// One level on the top w x h of `region`: by way of `temporary`, w * h samples, back into its bands there.
void LiftForward(int16_t* region, int w, int h, int16_t* temporary);
void LiftInverse(int16_t* region, int w, int h, int16_t* temporary);

}  // namespace zolt
