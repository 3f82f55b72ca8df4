#include "fusion/tone_matching.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "kernels/box_downscale.h"

namespace zolt {
namespace {

constexpr int kLevels = 256;
constexpr int kSmallestKernel = 27;
constexpr int kLargestKernel = 57;

/// Bits instead of a choice: the compiler turns a choice between loads into jumps, a pixel at a time.
inline uint8_t Swapped(uint8_t aligned, uint8_t accumulated, uint8_t test, uint8_t threshold) {
  const auto swapped = static_cast<uint8_t>(test > threshold ? 255 : 0);
  return static_cast<uint8_t>((accumulated & swapped) | (aligned & ~swapped));
}

void SwapRow(uint8_t* __restrict aligned, const uint8_t* __restrict accumulated,
             const uint8_t* __restrict test, int64_t n, uint8_t threshold) {
  for (int64_t i = 0; i < n; ++i) aligned[i] = Swapped(aligned[i], accumulated[i], test[i], threshold);
}

void SwapRowByItself(uint8_t* __restrict aligned, const uint8_t* __restrict accumulated, int64_t n,
                     uint8_t threshold) {
  for (int64_t i = 0; i < n; ++i) aligned[i] = Swapped(aligned[i], accumulated[i], aligned[i], threshold);
}

void CumulativeHistogram(const uint8_t* plane, int64_t count, int64_t* cumulative) {
  std::fill_n(cumulative, kLevels, 0);
  for (int64_t i = 0; i < count; ++i) ++cumulative[plane[i]];
  for (int level = 1; level < kLevels; ++level) cumulative[level] += cumulative[level - 1];
}

// The level whose cumulative count is nearest to `count`, the lowest on a tie.
int NearestLevel(const int64_t* cumulative, int64_t count) {
  int nearest = 0;
  for (int level = 1; level < kLevels; ++level) {
    if (std::abs(count - cumulative[level]) < std::abs(count - cumulative[nearest])) nearest = level;
  }
  return nearest;
}

}  // namespace

void HighlightSwap(const PlaneSet& accumulated, const PlaneSet& aligned, const uint8_t* aligned_luma,
                   int64_t first, int64_t count, uint8_t threshold) {
  constexpr int64_t kBlock = 16;
  const int64_t whole = count - count % kBlock;
  for (int c = 0; c < 3; ++c) {
    uint8_t* own = aligned.plane[c] + first;
    const uint8_t* other = accumulated.plane[c] + first;
    SwapRow(own, other, aligned_luma + first, whole, threshold);
    if (whole == count || count < kBlock) continue;
    const int64_t last = count - kBlock;
    if (c == 0) {
      SwapRow(own + last, other + last, aligned_luma + first + last, kBlock, threshold);
    } else {
      SwapRowByItself(own + last, other + last, kBlock, threshold);
    }
  }
}

void ToneFromHistogram(const uint8_t* aligned, const uint8_t* accumulated, int w, int h, uint8_t* table,
                       uint8_t* scratch) {
  constexpr int kRise = 2;
  const int64_t count = static_cast<int64_t>(w / 4) * (h / 4);
  Box4Down(aligned, h, w, scratch);
  Box4Down(accumulated, h, w, scratch + count);
  int64_t target[kLevels];
  int64_t source[kLevels];
  CumulativeHistogram(scratch, count, target);
  CumulativeHistogram(scratch + count, count, source);
  table[0] = 0;
  for (int i = 1; i < kLevels; ++i) {
    const int j = NearestLevel(target, source[i]);
    const int before = table[i - 1];
    const int tone = j - before > kRise ? std::min(before + kRise, kLevels - 1) : std::max(i, j);
    table[i] = static_cast<uint8_t>(tone);
  }
}

int ToneKernelSize(const ToneTables& tones) {
  int maxStep = 0;
  for (const auto& table : tones.table) {
    for (int i = 1; i < kLevels; ++i) maxStep = std::max(maxStep, table[i] - table[i - 1]);
  }
  return maxStep < 11 ? kSmallestKernel : std::min(2 * maxStep + 7, kLargestKernel);
}

void GaussianTaps(float* taps, int n) {
  constexpr double kRootTwoPi = 2.5066282532517663;
  const float sigma = static_cast<float>(n - 1) / 6.0f;
  float sum = 0.0f;
  for (int k = 0; k < n; ++k) {
    const auto distance = static_cast<float>(k - n / 2);
    const float argument = -(distance * distance) / (2.0f * sigma * sigma);
    taps[k] = static_cast<float>(std::exp(static_cast<double>(argument)) /
                                 (static_cast<double>(sigma) * kRootTwoPi));
    sum += taps[k];
  }
  for (int k = 0; k < n; ++k) taps[k] /= sum;
}

void SmoothTone(uint8_t* table, int n) {
  float taps[kLargestKernel];
  GaussianTaps(taps, n);
  const int half = (n - 1) / 2;
  uint8_t smooth[kLevels];
  for (int i = 0; i < kLevels; ++i) {
    const int first = std::max(0, half - i);
    const int last = std::min(n, kLevels + half - i);
    float sum = 0.0f;
    float weight = 0.0f;
    for (int k = first; k < last; ++k) {
      sum += taps[k] * static_cast<float>(table[i - half + k]);
      weight += taps[k];
    }
    const bool inside = i >= half && i <= kLevels - 1 - half;
    smooth[i] = static_cast<uint8_t>(inside ? sum : sum / weight);
  }
  std::memcpy(table, smooth, sizeof smooth);
}

void ApplyTone(uint8_t* plane, int64_t count, const uint8_t* table) {
  for (int64_t i = 0; i < count; ++i) plane[i] = table[plane[i]];
}

}  // namespace zolt
