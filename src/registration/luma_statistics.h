#pragma once

#include <cstdint>

#include "registration/integral_image.h"

namespace zolt {

inline constexpr int32_t kLumaLevels = 256;

/// Brightness of an image in a sample of every fifth pixel of every fifth row. `histogram` is working memory
/// of kLumaLevels words. `peak` receives the most frequent level, the lowest on a tie; `bright` the mean of
/// the brightest 5 per cent of the sample, and stays as it is when the sample is empty.
void MeasureLuma(const DetectionImage& image, uint32_t* histogram, uint8_t* peak, uint8_t* bright);

/// cumulative[v] = number of pixels with a level of at most v, v = 0..255.
void CumulateHistogram(const DetectionImage& image, uint32_t* cumulative);

/// Histogram matching: replaces each level by that whose cumulative count in `reference` is nearest to the
/// level's own in this image, the lowest on a tie. The last width * height % 4 pixels stay as they are.
void MatchHistogram(uint8_t* pixels, int32_t width, int32_t height, const uint32_t* reference);

}  // namespace zolt
