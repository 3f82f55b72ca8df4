#pragma once

#include <memory_resource>

#include "burst/fine/noise_spectrum.h"
#include "burst/picture/plane.h"

namespace zolt {

/// The finish of a merged plane by local spectra: overlapping blocks of 8 x 8, every four pixels, under a
/// squared sine window. The reference is sharp but noisy, the merge clean but a little soft from
/// interpolation: what the reference has beyond the merge is given back where it is more than noise, then
/// what noise is left is shrunk (empirical Wiener filters in the cosine transform's domain, after Yaroslavsky
/// 1996; twice, the first result being the second's estimate of the signal, after Dabov et al. 2007). How
/// much noise there is in a place follows from its spectrum, the brightness and the number of frames merged
/// there, so places in which something moved are filtered as the single frame that they are.
///
/// All planes have one size; the result is written inside: what lies less than kSpectralBorder pixels from an
/// edge is read only. `weights` has 25 for each frame beyond the first, `frames` is the number merged, 2 or
/// more. The same bytes for any number of threads. std::bad_alloc.
struct SpectralJob {
  PlaneView reference, merge, weights;
  int frames;
  int left, top;  ///< of the first pixel written
  /// How many times the noise's variance must be exceeded by what is given back, and by what is kept, in the
  /// first of the two filters.
  float return_above, keep_above;
};
inline constexpr int kSpectralBorder = 8;
void FinishBySpectra(const SpectralJob& job, const NoiseSpectrum& spectrum, const MutablePlane& out,
                     std::pmr::memory_resource* memory);

}  // namespace zolt
