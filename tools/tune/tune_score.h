#pragma once

#include <vector>

#include "media/picture.h"
#include "tune/tune_burst.h"

namespace zolt {

/// Likeness of a picture to the truth inside the border, and the harm that it did beside the first frame.
struct TuneFigures {
  double psnr_luma = 0;
  double psnr_chroma = 0;  // both planes together
  double ssim_luma = 0;    // only when asked for
  /// dB that the first frame would lose if each block of 16 x 16 pixels got the worse of both errors: trails
  /// of moving things and lost detail. 0: no block became worse.
  double trail_luma = 0;
  double trail_chroma = 0;
};

/// Of one burst under one tuning.
struct TuneScore {
  TuneFigures merged;  // the frames folded together, without a filter; of a fused burst the first frame
  TuneFigures result;
  int iso = 0;  // that it went through the library with
};

/// What the tuning is for; docs/tune.md tells the formula.
struct TuneWeights {
  double luma = 1;
  double chroma = 0.5;
  double ssim = 0;  // of the SSIM in per cent
  double trail = 1;
  double below = 10;
};

/// Compares pictures with a burst's truth.
class TuneJudge {
 public:
  TuneJudge(const TuneBurst& burst, int border);
  TuneFigures Judge(const YuvPicture& picture, bool with_ssim) const;

 private:
  struct Errors {
    std::vector<double> luma, chroma;  // squared error of each block
  };
  Errors ErrorsOf(const YuvPicture& picture) const;

  YuvPicture truth_;
  int border_;
  Errors first_;
};

/// One burst's share of the objective; more is better. `merged_luma` is the luma PSNR that the merge alone
/// has to offer: of the merge keys that were found best, not of the tuning at hand, which would gain by a bad
/// merge.
double Objective(const TuneFigures& result, double merged_luma, const TuneWeights& weights);

/// Means of each figure over the bursts.
TuneScore MeanScore(const std::vector<TuneScore>& scores);

}  // namespace zolt
