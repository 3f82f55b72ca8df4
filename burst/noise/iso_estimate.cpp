#include "burst/noise/iso_estimate.h"

#include <algorithm>

namespace zolt {
namespace {

/// Of eight bands. The fifth of the shipped file is best for nothing that the sixth or fourth does not serve
/// as well.
constexpr double kLimits[] = {0.651, 0.987, 1.134, 2.655, 2.655, 3.346, 7.295};

/// Integer powers, so that every processor gets the same bits.
double Power(double base, int exponent) {
  double power = 1;
  for (int i = 0; i < exponent; ++i) power *= base;
  return power;
}

}  // namespace

int BandOfNoise(const NoiseMeasure& noise, int frames) {
  // All to the 20th, where the roots are whole powers.
  const double texture = std::max(1.0, static_cast<double>(noise.texture));
  const double left =
      Power(noise.luma_sigma, 20) * Power(6.0 / std::clamp(frames, 1, 10), 5) / Power(texture, 4);
  int band = 0;
  for (const double limit : kLimits) {
    if (left > Power(limit, 20)) ++band;
  }
  return band;
}

}  // namespace zolt
