#pragma once

#include <cstdint>

namespace zolt {

/// Largest distance of either chroma value from grey, per hue (0..255: red 0, green 85, blue 170).
struct SaturationPeaks {
  int32_t peak[256];
};

/// Hue of one colour on a ring of 256, 0 for grey. y, u, v are full-range YUV.
uint8_t Hue(int y, int u, int v);

/// What the stretch does to each hue: `stretch` in units of 1/128 beyond 1, and the multiplier of the result
/// in 1/128: mulU and mulV of every hue in one, as one gain serves them all.
struct SaturationCurve {
  int32_t stretch[256];
  int32_t multiplier;
};

/// Stretches each hue towards full scale, as far as its own peak lets it and no further than `gain` / 16: an
/// envelope over the hue ring starts at the gain's limit and is raised by smooth bumps where a hue's peak
/// stands out.
SaturationCurve MakeSaturationCurve(const SaturationPeaks& maxSat, int32_t gain);

/// Applies a curve to one chroma pair in place: full at mid luma, nothing at black and white.
void StretchSaturation(const SaturationCurve& curve, uint8_t hue, int y, uint8_t* u, uint8_t* v);

}  // namespace zolt
