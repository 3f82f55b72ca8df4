#include "fusion/pyramid_fusion.h"

#include <algorithm>
#include <cmath>

#include "base/arithmetic.h"
#include "base/log.h"
#include "fusion/fusion_workers.h"
#include "fusion/laplacian_pyramid.h"

namespace zolt {
namespace {

constexpr int kLevels = 256;

// Cumulative histogram of every second pixel in blocks of 16.
void CumulativeHistogram(const uint8_t* plane, int64_t count, uint32_t* cumulative) {
  std::fill_n(cumulative, kLevels, 0u);
  for (int64_t block = 0; block + 16 <= count; block += 16) {
    for (int i = 0; i < 16; i += 2) ++cumulative[plane[block + i]];
  }
  for (int level = 1; level < kLevels; ++level) cumulative[level] += cumulative[level - 1];
}

// How far the two images' tones lie apart, for the log alone.
void ReportToneDistance(const uint8_t* a, const uint8_t* b, int64_t count) {
  uint32_t of_a[kLevels];
  uint32_t of_b[kLevels];
  const auto measure = [&](int i) { CumulativeHistogram(i == 0 ? a : b, count, i == 0 ? of_a : of_b); };
  RunOnPool(DenoisePool(), measure, 2);
  int largest = 0;
  int reference = -1;
  for (int i = 0, j = 0; i != kLevels - 1 && j != kLevels - 1;) {
    if (of_a[j] >= of_b[i]) {
      ++i;
      continue;
    }
    ++j;
    if (j - i > largest) {
      largest = j - i;
      reference = j;
    }
  }
  LogInfo("refDiv = %d, matchDiv = %d.", Clamp(reference, 128, 245), Clamp(reference - largest, 64, 160));
}

// Weights of both images in place of the first `count` bytes of their planes, normalised to a sum of 255.
void ExposureWeights(uint8_t* a, uint8_t* b, const uint8_t* table, int64_t count) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(count, worker);
    for (int64_t i = share.first; i < share.first + share.count; ++i) {
      const int of_b = table[b[i]];
      const int of_a = table[a[i]];
      const int sum = std::max(of_a + of_b, 1);
      b[i] = static_cast<uint8_t>((255 * of_b + (sum >> 1)) / sum);
      a[i] = static_cast<uint8_t>(255 - b[i]);
    }
  });
}

void BlendChroma(const PlaneSet& a, const PlaneSet& b, const PlaneSet& destination, int64_t count) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(count, worker);
    for (int c = 1; c < 3; ++c) {
      for (int64_t i = share.first; i < share.first + share.count; ++i) {
        const int sum = a.plane[0][i] * a.plane[c][i] + b.plane[0][i] * b.plane[c][i] + 127;
        destination.plane[c][i] = static_cast<uint8_t>(static_cast<uint32_t>(sum) / 255);
      }
    }
  });
}

// Sets the pointers of a pyramid from `memory` on; returns what lies behind it.
uint8_t* LayOut(LaplacianPyramid* pyramid, const PyramidShape& shape, uint8_t* memory) {
  for (int i = 0; i < shape.levels; ++i) {
    pyramid->level[i] = reinterpret_cast<int16_t*>(memory);
    memory += 2 * shape.size(i);
  }
  return memory;
}

void LayOut(WeightPyramid* weights, const PyramidShape& shape, uint8_t* memory) {
  for (int i = 0; i + 1 < shape.levels; ++i) {
    weights->level[i] = memory;
    memory += shape.size(i + 1);
  }
}

}  // namespace

uint64_t PyramidFusionScratchSize(int w, int h) {
  const PyramidShape shape(w, h);
  int64_t pyramid = 0;
  for (int i = 0; i < shape.levels; ++i) pyramid += 2 * shape.size(i);
  return static_cast<uint64_t>(2 * pyramid + PyramidWorkSize(shape));
}

void ExposureTable(uint8_t* table) {
  constexpr double kDivisor = -0.020000001415610313;
  for (int k = 0; k < kLevels; ++k) {
    float x = static_cast<float>(k - 128) / 255.0f;
    x = x * x;
    x = static_cast<float>(static_cast<double>(x) / kDivisor);
    const auto v = static_cast<float>(std::exp(static_cast<double>(x)) * 255.0);
    table[k] = static_cast<uint8_t>(Clamp(TruncateToI32(v + 0.5f), 0, 255));
  }
}

int32_t HdrPyramidFusion(const PlaneSet& a, const PlaneSet& b, const PlaneSet& destination, int w, int h,
                         uint8_t* scratch) {
  const PyramidShape shape(w, h);
  ReportToneDistance(a.plane[0], b.plane[0], shape.size(0));
  uint8_t table[kLevels];
  ExposureTable(table);

  LaplacianPyramid laplacian_a;
  LaplacianPyramid laplacian_b;
  uint8_t* work = LayOut(&laplacian_b, shape, LayOut(&laplacian_a, shape, scratch));
  ConstructLaplacianPyramid(a.plane[0], laplacian_a, shape, work);
  ConstructLaplacianPyramid(b.plane[0], laplacian_b, shape, work);

  ExposureWeights(a.plane[0], b.plane[0], table, shape.size(1));
  // The weights of b are what is missing to 255; only their finest level is ever read.
  WeightPyramid weights;
  LayOut(&weights, shape, a.plane[0]);
  ConstructGaussianPyramid(weights, shape, work);

  BlendPyramids(laplacian_a, laplacian_b, weights, shape);
  BlendChroma(a, b, destination, shape.size(1));
  CollapsePyramid(laplacian_a, shape, destination.plane[0], work);
  return 0;
}

}  // namespace zolt
