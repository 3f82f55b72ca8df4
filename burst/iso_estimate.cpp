#include "burst/iso_estimate.h"

#include <algorithm>

namespace zolt {
namespace {

constexpr double kLimits[] = {0.45, 0.7, 1.0, 1.4, 2.0, 3.0, 5.0};

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
