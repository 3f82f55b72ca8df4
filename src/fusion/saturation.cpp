#include "fusion/saturation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <iterator>

#include "base/arithmetic.h"
#include "base/reciprocal_estimate.h"

namespace zolt {
namespace {

constexpr int kHues = 256;

// Bumps of the envelope, 127 at their middle: a narrow one for small excesses, a wide one for large.
constexpr uint8_t kNarrowBump[] = {0,   1,   2,   5,   9,   13,  19,  25,  32,  39,  47,  55,
                                   63,  72,  80,  88,  95,  102, 108, 114, 118, 122, 125, 126,
                                   126, 125, 122, 118, 114, 108, 102, 95,  88,  80,  72,  64,
                                   55,  47,  39,  32,  25,  19,  13,  9,   5,   2,   1,   0};
constexpr uint8_t kWideBump[] = {
    0,  0,   1,   3,   5,   7,   11,  14,  19,  23,  28,  34,  39,  45,  51,  57,  63,  70,  76,  82,  88, 93,
    99, 104, 108, 113, 116, 120, 122, 124, 126, 127, 127, 127, 126, 124, 122, 120, 116, 113, 108, 104, 99, 93,
    88, 82,  76,  70,  64,  57,  51,  45,  39,  34,  28,  23,  19,  14,  11,  7,   5,   3,   1,   0};
static_assert(std::size(kNarrowBump) == 48 && std::size(kWideBump) == 64);

// A sixth of the circle, 85 in Q7, by how far the channels lie apart: a division for each pixel otherwise.
constexpr std::array<int16_t, 256> kSixthOverDelta = [] {
  std::array<int16_t, 256> table = {};
  for (int delta = 1; delta < 256; ++delta) {
    table[static_cast<size_t>(delta)] =
        static_cast<int16_t>(ReciprocalEstimate(static_cast<float>(delta)) * (85 * 128) + 0.5f);
  }
  return table;
}();

// The ARM instruction's rounding doubling multiply, high half, of 16-bit lanes.
int DoublingHighHalf(int a, int b) {
  return (2 * a * b + 32768) >> 16;
}

void AddBump(int32_t* envelope, int hue, int32_t excess) {
  const bool narrow = excess < 50;
  const uint8_t* bump = narrow ? kNarrowBump : kWideBump;
  const int width = narrow ? 48 : 64;
  for (int i = 0; i < width; ++i)
    envelope[(hue - width / 2 + i) & (kHues - 1)] += (64 + excess * bump[i]) >> 7;
}

void SmoothRing(int32_t* ring) {
  int32_t before[kHues];
  std::copy_n(ring, kHues, before);
  for (int h = 0; h < kHues; ++h) {
    ring[h] = (before[(h - 1) & (kHues - 1)] + 2 * before[h] + before[(h + 1) & (kHues - 1)] + 2) >> 2;
  }
}

// Raises the envelope until no hue's target stands out of it by more than 1.
void RaiseEnvelope(const int32_t* target, int32_t* envelope) {
  constexpr int kMostBumps = 30;
  for (int round = 0; round < kMostBumps; ++round) {
    int hue = 0;
    for (int h = 1; h < kHues; ++h) {
      if (target[h] - envelope[h] > target[hue] - envelope[hue]) hue = h;
    }
    const int32_t excess = target[hue] - envelope[hue];
    if (excess <= 1) return;
    AddBump(envelope, hue, excess);
  }
}

// Weight of each distance from mid luma, 128 at 0: a Gaussian with sigma 53.
struct LumaWeights {
  LumaWeights() {
    for (int k = 0; k < 128; ++k)
      weight[k] = static_cast<uint8_t>(128.0 * std::exp(-k * k / 5644.5313) + 0.5);
    weight[128] = 0;
  }
  uint8_t weight[129];
};

uint8_t Stretched(int32_t gain, int32_t multiplier, uint8_t value) {
  const int32_t distance = (multiplier * ((gain * (value - 128) + 64) >> 7)) >> 7;
  return SaturateU8(distance < -128 ? 0 : distance > 127 ? 255 : distance + 128);
}

}  // namespace

uint8_t Hue(int y, int u, int v) {
  const int luma = 64 * y;
  const int du = u - 128;
  const int dv = v - 128;
  const int b = SaturateU8((luma + 114 * du) >> 6);
  const int g = SaturateU8((luma - 22 * du - 46 * dv) >> 6);
  const int r = SaturateU8((luma + 90 * dv) >> 6);
  const int highest = std::max({b, g, r});
  const int delta = highest - std::min({b, g, r});
  if (delta == 0) return 0;
  const int scale = kSixthOverDelta[static_cast<size_t>(delta)];
  const auto turn = [scale](int difference) { return DoublingHighHalf(difference * 128, scale); };
  if (highest == b) return SaturateU8(turn(r - g) + 170);
  if (highest == g) return SaturateU8(turn(b - r) + 85);
  return SaturateU8(turn(g - b) + (g >= b ? 0 : 255));
}

SaturationCurve MakeSaturationCurve(const SaturationPeaks& maxSat, int32_t gain) {
  // One gain for all hues.
  const float signed_gain = static_cast<float>(gain) * 0.0625f;
  const float size = std::fabs(signed_gain);
  const float unit = signed_gain / (size + 0.0001f);
  const int32_t limit = TruncateToI32(127.0f / (size + 0.001f) + 0.5f);

  int32_t target[kHues];
  int32_t envelope[kHues];
  for (int h = 0; h < kHues; ++h) {
    target[h] = std::max(maxSat.peak[h], limit);
    envelope[h] = limit;
  }
  RaiseEnvelope(target, envelope);
  SmoothRing(envelope);
  SmoothRing(envelope);

  SaturationCurve curve;
  curve.multiplier = TruncateToI32(0.5f + unit * 127.0f);
  for (int h = 0; h < kHues; ++h) {
    const int32_t e = envelope[h];
    curve.stretch[h] = (e == 0 ? 0 : ((e >> 1) + 16383) / e) - 128;
  }
  return curve;
}

void StretchSaturation(const SaturationCurve& curve, uint8_t hue, int y, uint8_t* u, uint8_t* v) {
  static const LumaWeights weights;
  const int32_t gain = ((curve.stretch[hue] * weights.weight[std::abs(y - 128)] + 64) >> 7) + 128;
  *u = Stretched(gain, curve.multiplier, *u);
  *v = Stretched(gain, curve.multiplier, *v);
}

}  // namespace zolt
