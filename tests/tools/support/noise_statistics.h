#pragma once

#include <cmath>
#include <vector>

#include "media/colour.h"
#include "media/picture.h"

namespace zolt {

/// What stays of a tripod burst when the mean of its frames is taken away.
struct NoiseStatistics {
  double sigma = 0;
  double lag1 = 0;  // autocorrelation, mean of along rows and along columns
  double lag4 = 0;
  double bias = 0;  // mean of the burst against `truth`
};

inline NoiseStatistics MeasureNoise(const std::vector<YuvPicture>& frames, const YuvPicture& truth,
                                    std::vector<uint8_t> YuvPicture::*plane, int width) {
  const size_t size = (truth.*plane).size();
  const double n = static_cast<double>(frames.size());
  std::vector<double> mean(size);
  for (const YuvPicture& f : frames) {
    for (size_t i = 0; i < size; ++i) mean[i] += (f.*plane)[i] / n;
  }
  NoiseStatistics s;
  for (size_t i = 0; i < size; ++i) s.bias += (mean[i] - (truth.*plane)[i]) / static_cast<double>(size);
  double variance = 0, lag1 = 0, lag4 = 0;
  const size_t w = static_cast<size_t>(width);
  for (const YuvPicture& f : frames) {
    const auto at = [&](size_t i) { return (f.*plane)[i] - mean[i]; };
    // Stays 4 rows and columns away from the lower and right border, so that each lag is seen equally often.
    for (size_t y = 0; y + 4 < size / w; ++y) {
      for (size_t x = 0; x + 4 < w; ++x) {
        const size_t i = y * w + x;
        const double v = at(i);
        variance += v * v;
        lag1 += v * (at(i + 1) + at(i + w)) / 2;
        lag4 += v * (at(i + 4) + at(i + 4 * w)) / 2;
      }
    }
  }
  const double samples = static_cast<double>((size / w - 4) * (w - 4));
  s.sigma = std::sqrt(variance / samples / (n - 1));  // n - 1: the mean is the frames' own
  s.lag1 = lag1 / variance;
  s.lag4 = lag4 / variance;
  return s;
}

}  // namespace zolt
