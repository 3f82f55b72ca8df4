#pragma once

#include <cstdint>

#include "burst/memory/layer_vector.h"
#include "burst/picture/plane.h"

namespace zolt {

/// A grey picture in 1/32 of an 8-bit level (Q5: 0..8160) with kPad pixels around it that may be read: rows
/// -kPad..height + kPad - 1, columns alike. They repeat the edge once RepeatEdges has run.
struct GreyPlane {
  static constexpr int kPad = 3;

  static constexpr int kSlack = 32;  ///< pixels behind the last row, so that whole vectors can be read

  int width = 0;
  int height = 0;
  ptrdiff_t pitch = 0;  ///< in pixels
  LayerVector<int16_t> data;

  void Resize(int w, int h) {
    width = w;
    height = h;
    pitch = w + 2 * kPad;
    data.resize(static_cast<size_t>(pitch) * (h + 2 * kPad) + kSlack);
  }
  const int16_t* Row(int y) const { return data.data() + (y + kPad) * pitch + kPad; }
  int16_t* Row(int y) { return data.data() + (y + kPad) * pitch + kPad; }
  void RepeatEdges();
};

/// A picture at halving sizes. Level k is the picture at scale 1 / 2^k, sides rounded down; the centre of its
/// pixel X lies at s X + (s - 1) / 2, s = 2^k, of the picture. Level 1 is the mean of 2 x 2 pixels; each
/// further level has the binomial taps 1 3 3 1 along rows and columns, which hold back what half the size
/// can't show better than a mean of two. Edges repeat. Each level that is kept is smoothed at last, by the
/// binomial taps 1 4 6 4 1 along rows and columns (sigma 1): what is interpolated later must be smooth, and
/// noise that is averaged first disturbs no gradient.
class Pyramid {
 public:
  /// From the first level of at most kFinestPixels pixels, `full_size_pixels` for level 0, down to one of
  /// which the longer side is at most kCoarsestSide or the shorter one below 2 * kLeastSide. Sides are at
  /// least kLeastSide. May throw std::bad_alloc.
  void Build(PlaneView picture, int threads, int64_t full_size_pixels = kFinestPixels);

  int finest() const { return finest_; }      ///< k of the largest level kept
  int coarsest() const { return coarsest_; }  ///< k of the smallest
  const GreyPlane& Level(int k) const { return levels_[k - finest_]; }

  static constexpr int64_t kFinestPixels = 1200000;
  static constexpr int kCoarsestSide = 96;
  static constexpr int kLeastSide = 8;

 private:
  int finest_ = 0;
  int coarsest_ = 0;
  LayerVector<GreyPlane> levels_;
};

}  // namespace zolt
