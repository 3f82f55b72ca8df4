#include "burst/noise/noise_follower.h"

#include "burst/noise/iso_estimate.h"

namespace zolt {
namespace {

/// A measure's weight is 1 / 32 at last: a second of video.
constexpr int kMemory = 32;
/// How far the mean's sigma must lie beyond a band's limit.
constexpr float kBeyond = 1.1f;

int BandFor(NoiseMeasure noise, float factor, int merged) {
  noise.luma_sigma *= factor;
  return BandOfNoise(noise, merged);
}

}  // namespace

int NoiseFollower::Follow(const NoiseMeasure& noise, int from, int merged, int fallback) {
  const bool rough = from < 2;
  // One frame alone tells too much noise where all is textured: no match for what pairs have told.
  const bool tells = noise.measured && (!rough || rough_ || count_ == 0);
  if (!tells) return band_ >= 0 ? band_ : fallback;
  if (rough_ && !rough) Restart();
  rough_ = rough;
  if (count_ < kMemory) ++count_;
  const float weight = 1.0f / static_cast<float>(count_);
  mean_.luma_sigma += (noise.luma_sigma - mean_.luma_sigma) * weight;
  mean_.texture += (noise.texture - mean_.texture) * weight;
  if (band_ < 0) return band_ = BandFor(mean_, 1, merged);
  const int above = BandFor(mean_, 1 / kBeyond, merged), below = BandFor(mean_, kBeyond, merged);
  if (above > band_) band_ = above;
  if (below < band_) band_ = below;
  return band_;
}

}  // namespace zolt
