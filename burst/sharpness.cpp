#include "burst/sharpness.h"

namespace zolt {
namespace {

constexpr int kChunk = 512;
constexpr int kSampleStep = 8;

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

}  // namespace

double GradientEnergy(PlaneView luma) {
  const int width = luma.width / 2 - 1, height = luma.height / 2 - 1;
  if (width < 1 || height < 1) return 0;
  uint64_t sum = 0;
  int16_t rows[2][kChunk + 1];
  for (int first = 0; first < width; first += kChunk) {
    const int n = width - first < kChunk ? width - first : kChunk;
    const auto reduce = [&](int y) {
      ReduceRow(luma.Row(2 * y) + 2 * first, luma.Row(2 * y + 1) + 2 * first, rows[y & 1], n + 1);
    };
    reduce(0);
    for (int y = 0; y < height; ++y) {
      reduce(y + 1);
      sum += RowEnergy(rows[y & 1], rows[(y + 1) & 1], n);
    }
  }
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
