#include "fusion/laplacian_pyramid.h"

#include <algorithm>
#include <cstring>

#include "base/arithmetic.h"
#include "fusion/fusion_workers.h"

namespace zolt {
namespace {

constexpr int Binomial5(int a, int b, int c, int d, int e) {
  return (a + 4 * b + 6 * c + 4 * d + e + 8) >> 4;
}

// The even positions of one line of n samples.
void FilterRow(const uint8_t* __restrict x, uint8_t* __restrict out, int n) {
  out[0] = static_cast<uint8_t>(RoundingHalf(x[0], x[1]));
  const int inner = (n - 1) / 2;  // positions 2, 4, ... that have two samples on their right
  for (int i = 1; i < inner; ++i) {
    out[i] =
        static_cast<uint8_t>(Binomial5(x[2 * i - 2], x[2 * i - 1], x[2 * i], x[2 * i + 1], x[2 * i + 2]));
  }
  if (n < 3) return;
  const int last =
      n % 2 == 0 ? (x[n - 3] + 2 * x[n - 2] + x[n - 1] + 2) >> 2 : RoundingHalf(x[n - 2], x[n - 1]);
  out[(n - 1) / 2] = static_cast<uint8_t>(last);
}

// Row `r` of the result: the same filter down the columns of `rows`, h of them at pitch w.
void FilterColumns(const uint8_t* rows, uint8_t* __restrict out, int w, int h, int r) {
  const uint8_t* __restrict c = rows + static_cast<int64_t>(2 * r) * w;
  if (r == 0) {
    for (int x = 0; x < w; ++x) out[x] = static_cast<uint8_t>(RoundingHalf(c[x], c[w + x]));
  } else if (2 * r == h - 1) {
    for (int x = 0; x < w; ++x) out[x] = static_cast<uint8_t>(RoundingHalf(c[x - w], c[x]));
  } else if (2 * r == h - 2) {
    for (int x = 0; x < w; ++x) out[x] = static_cast<uint8_t>((c[x - w] + 2 * c[x] + c[w + x] + 2) >> 2);
  } else {
    const uint8_t* a = c - 2 * w;
    const uint8_t* b = c - w;
    const uint8_t* d = c + w;
    const uint8_t* e = c + 2 * w;
    for (int x = 0; x < w; ++x) out[x] = static_cast<uint8_t>(Binomial5(a[x], b[x], c[x], d[x], e[x]));
  }
}

// Row y of the next larger level, w samples out of `small` rows of (w + 1) / 2. A sample beyond the right or
// bottom border is the last one.
void Expand(const uint8_t* small, int small_w, int small_h, int y, uint8_t* __restrict out, int w) {
  const uint8_t* __restrict upper = small + static_cast<int64_t>(y / 2) * small_w;
  const int below = std::min(y / 2 + 1, small_h - 1);
  const uint8_t* __restrict lower = y % 2 == 0 ? upper : small + static_cast<int64_t>(below) * small_w;
  for (int i = 0; i + 1 < small_w; ++i) {
    const int column = upper[i] + lower[i];
    out[2 * i] = static_cast<uint8_t>((column + 1) >> 1);
    out[2 * i + 1] = static_cast<uint8_t>((column + upper[i + 1] + lower[i + 1] + 2) >> 2);
  }
  const int end = small_w - 1;
  const auto last = static_cast<uint8_t>((upper[end] + lower[end] + 1) >> 1);
  for (int x = 2 * end; x < w; ++x) out[x] = last;
}

// Work space of a construction or a collapse.
class PyramidWork {
 public:
  PyramidWork(uint8_t* work, const PyramidShape& shape)
      : row_size_(shape.width[0]),
        rows_(work),
        odd_(rows_ + int64_t{kFusionWorkers} * shape.width[0]),
        even_(odd_ + shape.size(1)),
        filter_(even_ + shape.size(2)) {}
  /// A row of the largest level for each worker to expand into.
  uint8_t* row(int worker) const { return rows_ + static_cast<int64_t>(worker) * row_size_; }
  /// Place of Gaussian level i >= 1; neighbouring levels have different ones.
  uint8_t* level(int i) const { return i % 2 != 0 ? odd_ : even_; }
  uint8_t* filter() const { return filter_; }

 private:
  int row_size_;
  uint8_t* rows_;
  uint8_t* odd_;
  uint8_t* even_;
  uint8_t* filter_;
};

// Runs body(worker, first row, rows) over the rows of a level, in four stripes where that pays.
template <typename Body>
void ForRows(int w, int h, Body&& body) {
  constexpr int kWorthwhileSide = 612;
  if (w < kWorthwhileSide && h < kWorthwhileSide) {
    body(0, 0, h);
    return;
  }
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h, worker);
    body(worker, static_cast<int>(share.first), static_cast<int>(share.count));
  });
}

// (t / 255) to the nearest integer, the sign kept; exact for |t| <= 65535.
inline int16_t DivideBy255(int t) {
  int q = (t < 0 ? -t : t) + 127;
  q = (q + ((q + 257) >> 8)) >> 8;
  return static_cast<int16_t>(t < 0 ? -q : q);
}

void BlendRow(int16_t* __restrict a, const int16_t* __restrict b, const uint8_t* __restrict weight,
              int64_t n) {
  for (int64_t i = 0; i < n; ++i) a[i] = DivideBy255(a[i] * weight[i] + b[i] * (255 - weight[i]));
}

// Level 0: one weight for two columns.
void BlendDoubledRow(int16_t* __restrict a, const int16_t* __restrict b, const uint8_t* __restrict weight,
                     int pairs) {
  for (int i = 0; i < pairs; ++i) {
    const int own = weight[i];
    const int other = 255 - own;
    a[2 * i] = DivideBy255(a[2 * i] * own + b[2 * i] * other);
    a[2 * i + 1] = DivideBy255(a[2 * i + 1] * own + b[2 * i + 1] * other);
  }
}

void DifferenceRow(const uint8_t* __restrict level, const uint8_t* __restrict expanded,
                   int16_t* __restrict out, int n) {
  for (int x = 0; x < n; ++x) out[x] = static_cast<int16_t>(level[x] - expanded[x]);
}

// What a level of w x h has beyond its expanded next one.
void LaplacianLevel(const uint8_t* level, int16_t* out, const uint8_t* next, int w, int h,
                    const PyramidWork& space) {
  ForRows(w, h, [&](int worker, int first, int rows) {
    uint8_t* expanded = space.row(worker);
    for (int y = first; y < first + rows; ++y) {
      const int64_t row = static_cast<int64_t>(y) * w;
      Expand(next, (w + 1) / 2, (h + 1) / 2, y, expanded, w);
      DifferenceRow(level + row, expanded, out + row, w);
    }
  });
}

void SumRow(const uint8_t* __restrict expanded, const int16_t* __restrict difference, uint8_t* __restrict out,
            int n) {
  for (int x = 0; x < n; ++x) out[x] = SaturateU8(expanded[x] + difference[x]);
}

}  // namespace

PyramidShape::PyramidShape(int w, int h) : levels(0) {
  const int side = std::min(w, h);
  while (levels < kMaxLevels && (2 << levels) <= side) ++levels;
  width[0] = w;
  height[0] = h;
  for (int i = 0; i < kMaxLevels; ++i) {
    width[i + 1] = (width[i] + 1) >> 1;
    height[i + 1] = (height[i] + 1) >> 1;
  }
}

int64_t PyramidWorkSize(const PyramidShape& shape) {
  return int64_t{kFusionWorkers} * shape.width[0] + shape.size(1) + shape.size(2) +
         int64_t{shape.width[1]} * shape.height[0];
}

void PyramidFilter(const uint8_t* source, uint8_t* destination, int w, int h, uint8_t* temporary) {
  const int half_w = (w + 1) / 2;
  ForRows(w, h, [&](int, int first, int rows) {
    for (int y = first; y < first + rows; ++y) {
      FilterRow(source + static_cast<int64_t>(y) * w, temporary + static_cast<int64_t>(y) * half_w, w);
    }
  });
  ForRows(half_w, (h + 1) / 2, [&](int, int first, int rows) {
    for (int r = first; r < first + rows; ++r) {
      FilterColumns(temporary, destination + static_cast<int64_t>(r) * half_w, half_w, h, r);
    }
  });
}

void ConstructLaplacianPyramid(uint8_t* plane, const LaplacianPyramid& pyramid, const PyramidShape& shape,
                               uint8_t* work) {
  const PyramidWork space(work, shape);
  const uint8_t* level = plane;
  for (int i = 0; i + 1 < shape.levels; ++i) {
    const int w = shape.width[i];
    const int h = shape.height[i];
    uint8_t* next = space.level(i + 1);
    PyramidFilter(level, next, w, h, space.filter());
    LaplacianLevel(level, pyramid.level[i], next, w, h, space);
    // The weights are made of level 1, in the plane that holds the image no longer.
    if (i == 0) std::memcpy(plane, next, static_cast<size_t>(shape.size(1)));
    level = next;
  }
  std::memcpy(pyramid.smallest(shape.levels), level, static_cast<size_t>(shape.size(shape.levels - 1)));
}

void ConstructGaussianPyramid(const WeightPyramid& weights, const PyramidShape& shape, uint8_t* work) {
  for (int i = 0; i + 2 < shape.levels; ++i) {
    PyramidFilter(weights.level[i], weights.level[i + 1], shape.width[i + 1], shape.height[i + 1], work);
  }
}

void BlendPyramids(const LaplacianPyramid& a, const LaplacianPyramid& b, const WeightPyramid& weights,
                   const PyramidShape& shape) {
  const int w = shape.width[0];
  ForRows(w, shape.height[0], [&](int, int first, int rows) {
    for (int y = first; y < first + rows; ++y) {
      const int64_t row = static_cast<int64_t>(y) * w;
      BlendDoubledRow(a.level[0] + row, b.level[0] + row,
                      weights.level[0] + static_cast<int64_t>(y / 2) * (w / 2), w / 2);
    }
  });
  for (int i = 1; i + 1 < shape.levels; ++i) {
    ForRows(shape.width[i], shape.height[i], [&](int, int first, int rows) {
      const int64_t start = static_cast<int64_t>(first) * shape.width[i];
      BlendRow(a.level[i] + start, b.level[i] + start, weights.level[i - 1] + start,
               static_cast<int64_t>(rows) * shape.width[i]);
    });
  }
  const int top = shape.levels - 1;
  uint8_t* own = a.smallest(shape.levels);
  const uint8_t* other = b.smallest(shape.levels);
  for (int64_t i = 0; i < shape.size(top); ++i) {
    const int weight = weights.level[top - 1][i];
    own[i] = static_cast<uint8_t>((own[i] * weight + other[i] * (255 - weight) + 127) / 255);
  }
}

void CollapsePyramid(const LaplacianPyramid& pyramid, const PyramidShape& shape, uint8_t* destination,
                     uint8_t* work) {
  const PyramidWork space(work, shape);
  const uint8_t* current = pyramid.smallest(shape.levels);
  for (int i = shape.levels - 2; i >= 0; --i) {
    const int w = shape.width[i];
    uint8_t* next = i == 0 ? destination : space.level(i);
    ForRows(w, shape.height[i], [&](int worker, int first, int rows) {
      uint8_t* expanded = space.row(worker);
      for (int y = first; y < first + rows; ++y) {
        const int64_t row = static_cast<int64_t>(y) * w;
        Expand(current, shape.width[i + 1], shape.height[i + 1], y, expanded, w);
        SumRow(expanded, pyramid.level[i] + row, next + row, w);
      }
    });
    current = next;
  }
}

}  // namespace zolt
