#include "burst/fine_finish.h"

#include <algorithm>

#include "burst/fine/halving.h"
#include "burst/fine/spectral_finish.h"
#include "burst/picture/mirror.h"
#include "burst/picture/rgb_rows.h"

namespace zolt {
namespace {

constexpr int kSmallestHalved = 96;

/// A copy with mirrored pixels around it, as many as whole blocks take.
void Pad(PlaneView from, OwnedPlane* out) {
  const auto side = [](int inner) { return (inner + 2 * kSpectralBorder + 3) & ~3; };
  out->Resize(side(from.width), side(from.height));
  const MutablePlane to = out->View();
  for (int y = 0; y < from.height; ++y) {
    std::copy_n(from.Row(y), from.width, to.Row(kSpectralBorder + y) + kSpectralBorder);
  }
  MirrorAround(to, kSpectralBorder, kSpectralBorder, from.width, from.height);
}

MutablePlane InnerOf(OwnedPlane* padded, PlaneView like) {
  const MutablePlane whole = padded->View();
  return {whole.Row(kSpectralBorder) + kSpectralBorder, like.width, like.height, whole.pitch};
}

void Copy(PlaneView from, OwnedPlane* out) {
  out->Resize(from.width, from.height);
  for (int y = 0; y < from.height; ++y) std::copy_n(from.Row(y), from.width, out->View().Row(y));
}

/// Every second pixel: means would count frames in parts.
void ThinOut(PlaneView from, OwnedPlane* out) {
  out->Resize(HalfOf(from.width), HalfOf(from.height));
  const MutablePlane to = out->View();
  for (int y = 0; y < to.height; ++y) {
    for (int x = 0; x < to.width; ++x) to.Row(y)[x] = from.Row(2 * y)[2 * x];
  }
}

void Halve(PlaneView from, OwnedPlane* out) {
  out->Resize(HalfOf(from.width), HalfOf(from.height));
  HalvePlane(from, out->View());
}

/// Half-size chroma, a sample in the middle of four, at twice the size.
void Enlarge(PlaneView half, int width, int height, OwnedPlane* out) {
  out->Resize(width, height);
  const MutablePlane to = out->View();
  for (int y = 0; y < height; ++y) {
    const int near = y / 2, far = std::clamp(y % 2 == 0 ? near - 1 : near + 1, 0, half.height - 1);
    InterpolateChromaRow(half.Row(near), half.Row(far), half.width, to.Row(y), width);
  }
}

}  // namespace

/// What luma and chroma are finished by. Texture lives in luma, and is seen; chroma is smooth, and its noise
/// coarse.
struct FineFinish::Kind {
  int sizes;  ///< halvings in which blotches are looked for
  float return_above, keep_above;
  float faint;  ///< variance of the noise up to which they are not looked for: rounding costs more
};
const FineFinish::Kind FineFinish::kLuma = {1, 3, 2.5f, 0}, FineFinish::kChroma = {2, 10, 2, 2};

bool FineFinish::FinishPlane(PlaneView reference, PlaneView merge, PlaneView weights, const Kind& kind,
                             int sizes, OwnedPlane* out) {
  OwnedPlane padded_merge(memory_), padded_reference(memory_), padded_weights(memory_);
  Pad(merge, &padded_merge);
  if (sizes > 0 && std::min(merge.width, merge.height) >= kSmallestHalved) {
    OwnedPlane half_reference(memory_), half_merge(memory_), half_weights(memory_), half_out(memory_);
    Halve(reference, &half_reference);
    Halve(merge, &half_merge);
    ThinOut(weights, &half_weights);
    if (FinishPlane(half_reference.View(), half_merge.View(), half_weights.View(), kind, sizes - 1,
                    &half_out)) {
      AddEnlarged(half_merge.View(), half_out.View(), InnerOf(&padded_merge, merge));
      MirrorAround(padded_merge.View(), kSpectralBorder, kSpectralBorder, merge.width, merge.height);
    }
  }
  Pad(reference, &padded_reference);
  Pad(weights, &padded_weights);
  const SpectralJob job = {
      padded_reference.View(), padded_merge.View(), padded_weights.View(), frames_,
      kSpectralBorder,         kSpectralBorder,     kind.return_above,     kind.keep_above};
  const NoiseSpectrum spectrum = MeasureSpectrum(job.reference, job.merge, job.weights, frames_, memory_);
  const float* levels = spectrum.level_variance;
  const bool faint = *std::max_element(levels, levels + NoiseSpectrum::kLevels) < kind.faint;
  if (!spectrum.known || (sizes < kind.sizes && faint)) return false;
  out->Resize(merge.width, merge.height);
  FinishBySpectra(job, spectrum, out->View(), memory_);
  return true;
}

bool FineFinish::Finish(const MergeSession& merge, const WorkGeometry& work,
                        const zolt_burst_picture& reference) {
  frames_ = merge.merged();
  if (frames_ < 2) return false;
  const YuvImage first = merge.first(), result = merge.result();
  const auto inner = [&](const uint8_t* plane, int step) {
    const ptrdiff_t pitch = work.work_width / step;
    return PlaneView{plane + work.top / step * pitch + work.left / step, (work.width + step - 1) / step,
                     (work.height + step - 1) / step, pitch};
  };
  const PlaneView weights = inner(merge.weights(), 1);
  if (!FinishPlane(inner(first.y, 1), inner(result.y, 1), weights, kLuma, kLuma.sizes, &luma_)) return false;
  // Chroma without noise, as of grey pictures, is left as it is.
  const auto finish_chroma = [&](PlaneView frame, PlaneView merged, PlaneView counts, int sizes,
                                 OwnedPlane* out) {
    if (!FinishPlane(frame, merged, counts, kChroma, sizes, out)) Copy(merged, out);
  };
  if (reference.layout != ZOLT_BURST_RGB) {
    OwnedPlane thin(memory_);
    ThinOut(weights, &thin);
    finish_chroma(inner(first.u, 2), inner(result.u, 2), thin.View(), kChroma.sizes, &u_);
    finish_chroma(inner(first.v, 2), inner(result.v, 2), thin.View(), kChroma.sizes, &v_);
    return true;
  }
  OwnedPlane full_u(memory_), full_v(memory_), enlarged(memory_);
  const ChromaViews full = FullChromaOf(reference, &full_u, &full_v);
  Enlarge(inner(result.u, 2), work.width, work.height, &enlarged);
  finish_chroma(full.u, enlarged.View(), weights, kChroma.sizes + 1, &u_);
  Enlarge(inner(result.v, 2), work.width, work.height, &enlarged);
  finish_chroma(full.v, enlarged.View(), weights, kChroma.sizes + 1, &v_);
  return true;
}

}  // namespace zolt
