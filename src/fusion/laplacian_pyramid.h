#pragma once

#include <cstdint>

namespace zolt {

/// Sizes of a pyramid's levels: each side halves, rounded up, from level to level.
struct PyramidShape {
  static constexpr int kMaxLevels = 15;
  /// Levels for an image of w x h: the largest L with 2^L <= min(w, h), at most 15, 0 for a side of 1 or
  /// less.
  PyramidShape(int w, int h);
  int levels;
  int width[kMaxLevels + 1];
  int height[kMaxLevels + 1];
  int64_t size(int level) const { return static_cast<int64_t>(width[level]) * height[level]; }
};

/// Laplacian pyramid (Burt and Adelson 1983). Levels 0 to L - 2 are s16 differences, -255..255; level L - 1
/// holds the smallest Gaussian level as bytes at the start of its s16 place.
struct LaplacianPyramid {
  int16_t* level[PyramidShape::kMaxLevels];
  uint8_t* smallest(int levels) const { return reinterpret_cast<uint8_t*>(level[levels - 1]); }
};

/// Pyramid of u8 weights for the levels of a Laplacian pyramid from 1 on: level i has the shape's size i + 1.
struct WeightPyramid {
  uint8_t* level[PyramidShape::kMaxLevels];
};

/// The next smaller Gaussian level: 5-tap binomial filter and decimation by 2, rows first, narrowing to bytes
/// between the passes. Only even positions are produced: (x[p-2] + 4 x[p-1] + 6 x[p] + 4 x[p+1] + x[p+2] + 8)
/// >> 4 inside; at 0 and at an even n - 1 the rounded mean of the two end samples; at an even n - 2 the 1-2-1
/// mean. w, h >= 2. `temporary` is (w + 1) / 2 * h bytes. Runs on the fusion's workers.
void PyramidFilter(const uint8_t* source, uint8_t* destination, int w, int h, uint8_t* temporary);

/// Bytes of work space that ConstructLaplacianPyramid and CollapsePyramid need at most.
int64_t PyramidWorkSize(const PyramidShape& shape);

/// Fills a pyramid whose pointers are set from `plane`, and puts level 1 of the Gaussian pyramid over the
/// plane's start.
void ConstructLaplacianPyramid(uint8_t* plane, const LaplacianPyramid& pyramid, const PyramidShape& shape,
                               uint8_t* work);

/// Each level of a weight pyramid from the one before, by PyramidFilter.
void ConstructGaussianPyramid(const WeightPyramid& weights, const PyramidShape& shape, uint8_t* work);

/// Blends b into a, level by level: (a w + b (255 - w)) / 255 to the nearest integer, with the weights of a.
/// Level 0 uses each weight of the finest weight level for a 2 x 2 block.
void BlendPyramids(const LaplacianPyramid& a, const LaplacianPyramid& b, const WeightPyramid& weights,
                   const PyramidShape& shape);

/// Puts a pyramid together again into `destination`, w x h bytes: each level is expanded, the next one added,
/// clipped.
void CollapsePyramid(const LaplacianPyramid& pyramid, const PyramidShape& shape, uint8_t* destination,
                     uint8_t* work);

}  // namespace zolt
