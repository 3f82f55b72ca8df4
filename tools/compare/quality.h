#pragma once

#include "media/picture.h"

namespace zolt {

/// Likeness of two pictures, luma and chroma apart.
struct Quality {
  double psnr_luma = 0;    // dB of 255 squared over the mean squared difference; infinite for equal planes
  double psnr_chroma = 0;  // the same over both chroma planes together
  double ssim_luma =
      0;  // Wang et al. 2004: 11 x 11 Gaussian window, sigma 1.5, K1 = 0.01, K2 = 0.03, windows that
  double ssim_chroma =
      0;  // lie wholly inside; chroma is the mean of U and V; not-a-number below 11 x 11 samples
};

/// Both pictures must have the same size.
Quality CompareQuality(const YuvPicture& a, const YuvPicture& b);

/// Mid grey plus `gain` times (a - b), cut to bytes, in each plane: noise shows as grain, lost detail as
/// outlines.
YuvPicture DifferencePicture(const YuvPicture& a, const YuvPicture& b, double gain);

/// `a` without `margin` pixels, rounded down to even, at each edge.
YuvPicture Inside(const YuvPicture& a, int margin);

/// `a` to the left, `b` to the right; of an odd width the last column is left out, so that the chroma fits.
YuvPicture SideBySide(const YuvPicture& a, const YuvPicture& b);

}  // namespace zolt
