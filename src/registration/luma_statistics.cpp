#include "registration/luma_statistics.h"

#include <algorithm>

namespace zolt {
namespace {

constexpr int32_t kSampleStep = 5;
constexpr int32_t kBrightShare = 20;  // one in twenty

}  // namespace

void MeasureLuma(const DetectionImage& image, uint32_t* histogram, uint8_t* peak, uint8_t* bright) {
  std::fill_n(histogram, kLumaLevels, 0u);
  for (int32_t y = 0; y < image.height; y += kSampleStep) {
    const uint8_t* row = image.pixels + static_cast<int64_t>(y) * image.width;
    for (int32_t x = 0; x < image.width; x += kSampleStep) ++histogram[row[x]];
  }
  *peak = static_cast<uint8_t>(std::max_element(histogram, histogram + kLumaLevels) - histogram);

  const uint32_t limit = static_cast<uint32_t>(image.height / kSampleStep) *
                         static_cast<uint32_t>(image.width / kSampleStep) / kBrightShare;
  uint64_t sum = 0;
  uint32_t count = 0;
  for (int32_t level = kLumaLevels - 1; level >= 0; --level) {
    count += histogram[level];
    sum += uint64_t{histogram[level]} * static_cast<uint32_t>(level);
    if (count > limit) {
      *bright = static_cast<uint8_t>(sum / (count + 1));
      return;
    }
  }
}

void CumulateHistogram(const DetectionImage& image, uint32_t* cumulative) {
  std::fill_n(cumulative, kLumaLevels, 0u);
  const int64_t pixels = static_cast<int64_t>(image.width) * image.height;
  for (int64_t i = 0; i < pixels; ++i) ++cumulative[image.pixels[i]];
  for (int32_t level = 1; level < kLumaLevels; ++level) cumulative[level] += cumulative[level - 1];
}

void MatchHistogram(uint8_t* pixels, int32_t width, int32_t height, const uint32_t* reference) {
  uint32_t current[kLumaLevels];
  CumulateHistogram({pixels, width, height}, current);
  uint8_t table[kLumaLevels];
  for (int32_t level = 0; level < kLumaLevels; ++level) {
    int32_t nearest = 0;
    int64_t smallest = INT64_MAX;
    for (int32_t other = 0; other < kLumaLevels; ++other) {
      const int64_t difference = int64_t{current[level]} - int64_t{reference[other]};
      const int64_t distance = difference < 0 ? -difference : difference;
      if (distance < smallest) {
        smallest = distance;
        nearest = other;
      }
    }
    table[level] = static_cast<uint8_t>(nearest);
  }
  const int64_t whole_groups = static_cast<int64_t>(width) * height / 4 * 4;
  for (int64_t i = 0; i < whole_groups; ++i) pixels[i] = table[pixels[i]];
}

}  // namespace zolt
