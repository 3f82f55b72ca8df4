#include "burst/sharpness.h"

#include <numeric>

#include "base/vector_clones.h"
#include "burst/alignment/alignment_stripes.h"

namespace zolt {
namespace {

constexpr int kChunk = 512;
constexpr int kSampleStep = 8;
constexpr int kBands = 16, kThreads = 4;

/// Sums of 2 x 2 pixels, 0..1020.
void ReduceRow(const uint8_t* upper, const uint8_t* lower, int16_t* out, int n) {
  for (int x = 0; x < n; ++x) {
    out[x] = static_cast<int16_t>(upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1]);
  }
}

/// Squared differences to the right and below; at most 2 * 1020^2 * 512: 32 bits.
uint32_t RowEnergy(const int16_t* row, const int16_t* below, int n) {
  uint32_t sum = 0;
  for (int x = 0; x < n; ++x) {
    const int32_t right = row[x + 1] - row[x], down = below[x] - row[x];
    sum += static_cast<uint32_t>(right * right + down * down);
  }
  return sum;
}

/// Of rows `first` to `end` of the picture at half size.
ZOLT_VECTOR_CLONES uint64_t BandEnergy(PlaneView luma, int width, int first, int end) {
  uint64_t sum = 0;
  int16_t rows[2][kChunk + 1];
  for (int left = 0; left < width; left += kChunk) {
    const int n = width - left < kChunk ? width - left : kChunk;
    const auto reduce = [&](int y) {
      ReduceRow(luma.Row(2 * y) + 2 * left, luma.Row(2 * y + 1) + 2 * left, rows[y & 1], n + 1);
    };
    reduce(first);
    for (int y = first; y < end; ++y) {
      reduce(y + 1);
      sum += RowEnergy(rows[y & 1], rows[(y + 1) & 1], n);
    }
  }
  return sum;
}

}  // namespace

double GradientEnergy(PlaneView luma) {
  const int width = luma.width / 2 - 1, height = luma.height / 2 - 1;
  if (width < 1 || height < 1) return 0;
  uint64_t bands[kBands];
  RunStripes(kThreads, kBands, [&](int i) {
    const auto edge = [&](int k) { return static_cast<int>(static_cast<int64_t>(height) * k / kBands); };
    bands[i] = BandEnergy(luma, width, edge(i), edge(i + 1));
  });
  const uint64_t sum = std::accumulate(bands, bands + kBands, uint64_t{0});
  // Sums of four pixels: 16 times the squares of means.
  return static_cast<double>(sum) / 16 / (static_cast<double>(width) * height);
}

double MeanLevel(PlaneView luma) {
  uint64_t sum = 0, count = 0;
  for (int y = 0; y < luma.height; y += kSampleStep) {
    const uint8_t* row = luma.Row(y);
    for (int x = 0; x < luma.width; x += kSampleStep) sum += row[x], ++count;
  }
  return static_cast<double>(sum) / static_cast<double>(count);
}

}  // namespace zolt
