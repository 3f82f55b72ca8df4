#include "tune/tune_score.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "compare/quality.h"

namespace zolt {
namespace {

constexpr int kBlock = 16;
// Equal pictures have no PSNR; a mean has to stay a number.
constexpr double kHighestPsnr = 99;

// Adds the squared differences of two planes to the blocks that their samples lie in.
void AddErrors(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int width, int height, int block,
               std::vector<double>* errors) {
  const int columns = (width + block - 1) / block;
  const int rows = (height + block - 1) / block;
  errors->resize(size_t(columns) * rows);
  for (int y = 0; y < height; ++y) {
    double* row = &(*errors)[size_t(y / block) * columns];
    const uint8_t* p = &a[size_t(y) * width];
    const uint8_t* q = &b[size_t(y) * width];
    for (int column = 0; column < columns; ++column) {
      int sum = 0;  // of at most 16 squares of bytes
      for (int x = column * block; x < std::min(width, (column + 1) * block); ++x) {
        const int d = int{p[x]} - int{q[x]};
        sum += d * d;
      }
      row[column] += sum;
    }
  }
}

double Psnr(const std::vector<double>& errors, size_t samples) {
  const double sum = std::accumulate(errors.begin(), errors.end(), 0.0);
  const double floor = static_cast<double>(samples) * 255 * 255 * std::pow(10, -kHighestPsnr / 10);
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(samples) / std::max(sum, floor));
}

double Trail(const std::vector<double>& errors, const std::vector<double>& first) {
  double worse = 0, before = 0;
  for (size_t i = 0; i < errors.size(); ++i) {
    worse += std::max(errors[i], first[i]) + 1;
    before += first[i] + 1;
  }
  return 10 * std::log10(worse / before);
}

}  // namespace

TuneJudge::TuneJudge(const TuneBurst& burst, int border)
    : truth_(Inside(burst.truth, border)), border_(border), first_(ErrorsOf(burst.first())) {}

TuneJudge::Errors TuneJudge::ErrorsOf(const YuvPicture& picture) const {
  const YuvPicture inside = Inside(picture, border_);
  Errors errors;
  AddErrors(inside.y, truth_.y, truth_.width, truth_.height, kBlock, &errors.luma);
  const int w = truth_.ChromaWidth();
  const int h = truth_.ChromaHeight();
  AddErrors(inside.u, truth_.u, w, h, kBlock / 2, &errors.chroma);
  AddErrors(inside.v, truth_.v, w, h, kBlock / 2, &errors.chroma);
  return errors;
}

TuneFigures TuneJudge::Judge(const YuvPicture& picture, bool with_ssim) const {
  const Errors errors = ErrorsOf(picture);
  TuneFigures figures;
  figures.psnr_luma = Psnr(errors.luma, truth_.y.size());
  figures.psnr_chroma = Psnr(errors.chroma, truth_.u.size() + truth_.v.size());
  figures.trail_luma = Trail(errors.luma, first_.luma);
  figures.trail_chroma = Trail(errors.chroma, first_.chroma);
  if (with_ssim) figures.ssim_luma = CompareQuality(Inside(picture, border_), truth_).ssim_luma;
  return figures;
}

double Objective(const TuneFigures& result, double merged_luma, const TuneWeights& weights) {
  return weights.luma * result.psnr_luma + weights.chroma * result.psnr_chroma +
         weights.ssim * 100 * result.ssim_luma -
         weights.trail * (weights.luma * result.trail_luma + weights.chroma * result.trail_chroma) -
         weights.below * std::max(0.0, merged_luma - result.psnr_luma);
}

TuneScore MeanScore(const std::vector<TuneScore>& scores) {
  TuneScore mean;
  const double share = 1.0 / static_cast<double>(scores.size());
  const auto add = [&](TuneFigures* to, const TuneFigures& from) {
    to->psnr_luma += share * from.psnr_luma;
    to->psnr_chroma += share * from.psnr_chroma;
    to->ssim_luma += share * from.ssim_luma;
    to->trail_luma += share * from.trail_luma;
    to->trail_chroma += share * from.trail_chroma;
  };
  for (const TuneScore& score : scores) {
    add(&mean.merged, score.merged);
    add(&mean.result, score.result);
  }
  return mean;
}

}  // namespace zolt
