#include "registration/response_layer.h"

#include <algorithm>

#include "base/vector_clones.h"

namespace zolt {
namespace {

/// Where the boxes of a filter of side L lie, and the Q16 weights of the two products.
struct FilterShape {
  int32_t l, b, c;  // lobe length; start and length of the lobes across their direction
  int32_t p[4];     // edges of the four squares of Dxy
  int32_t product_weight, square_weight;
};

FilterShape ShapeOf(int32_t filter) {
  FilterShape shape = {};
  const int64_t l = filter / 3;
  shape.l = filter / 3;
  shape.b = (4 * filter + 9) / 18;
  shape.c = filter - 2 * shape.b;
  const int32_t d = (2 * filter + 9) / 18;
  const int32_t gap = filter - 2 * d - 2 * shape.l;
  shape.p[0] = d;
  shape.p[1] = d + shape.l;
  shape.p[2] = shape.p[1] + gap;
  shape.p[3] = shape.p[2] + shape.l;
  const int64_t l2 = l * l, c2 = int64_t{shape.c} * shape.c;
  const int64_t divisor = (100 * l2 * l2 * l2 * c2) >> 4;
  shape.product_weight = static_cast<int32_t>(((100 * l2 * l2) << 16) / divisor);
  shape.square_weight = static_cast<int32_t>(((81 * l2 * c2) << 16) / divisor);
  return shape;
}

/// (v * m) >> 16 without 64-bit lanes; m is at most 10485, so neither part overflows.
inline int32_t MulQ16(uint32_t v, int32_t m) {
  return (static_cast<int32_t>(v) >> 16) * m +
         static_cast<int32_t>(((v & 0xFFFFu) * static_cast<uint32_t>(m)) >> 16);
}

/// A part of a row short enough that the column sums below stay in the first-level cache.
constexpr int32_t kChunk = 480;
constexpr int32_t kMaxFilter = kFilterSizes[kLayerCount - 1];

/// Vertical halves of the box sums: every box is then a difference of two columns.
struct ColumnSums {
  uint32_t xx[kChunk + kMaxFilter + 1];
  uint32_t yy[kChunk + kMaxFilter + 1];
  uint32_t xy[kChunk + kMaxFilter + 1];
};

/// Columns x .. x + n - 1 of the integral image, filter rows starting at y.
ZOLT_VECTOR_CLONES void SumColumns(const IntegralImage& integral, const FilterShape& f, int32_t y, int32_t x,
                                   int32_t n, ColumnSums* sums) {
  const uint32_t* lobe_top = integral.Row(y + f.b) + x;
  const uint32_t* lobe_bottom = integral.Row(y + f.b + f.c) + x;
  uint32_t* __restrict xx = sums->xx;
  for (int32_t i = 0; i < n; ++i) xx[i] = lobe_bottom[i] - lobe_top[i];

  const uint32_t* third[4];
  const uint32_t* square[4];
  for (int32_t k = 0; k < 4; ++k) {
    third[k] = integral.Row(y + k * f.l) + x;
    square[k] = integral.Row(y + f.p[k]) + x;
  }
  const uint32_t *t0 = third[0], *t1 = third[1], *t2 = third[2], *t3 = third[3];
  uint32_t* __restrict yy = sums->yy;
  for (int32_t i = 0; i < n; ++i) yy[i] = t3[i] - t0[i] - 3 * (t2[i] - t1[i]);
  const uint32_t *s0 = square[0], *s1 = square[1], *s2 = square[2], *s3 = square[3];
  uint32_t* __restrict xy = sums->xy;
  for (int32_t i = 0; i < n; ++i) xy[i] = s1[i] - s0[i] - (s3[i] - s2[i]);
}

ZOLT_VECTOR_CLONES void RespondChunk(const ColumnSums& sums, const FilterShape& f, int32_t* __restrict out,
                                     int32_t n) {
  const uint32_t *xx0 = sums.xx, *xx1 = xx0 + f.l, *xx2 = xx1 + f.l, *xx3 = xx2 + f.l;
  const uint32_t *yy0 = sums.yy + f.b, *yy1 = yy0 + f.c;
  const uint32_t *xy0 = sums.xy + f.p[0], *xy1 = sums.xy + f.p[1];
  const uint32_t *xy2 = sums.xy + f.p[2], *xy3 = sums.xy + f.p[3];
  const int32_t product_weight = f.product_weight, square_weight = f.square_weight;
  for (int32_t i = 0; i < n; ++i) {
    const uint32_t dxx = xx3[i] - xx0[i] - 3 * (xx2[i] - xx1[i]);
    const uint32_t dyy = yy1[i] - yy0[i];
    const uint32_t dxy = xy1[i] - xy0[i] - (xy3[i] - xy2[i]);
    out[i] = MulQ16(dxx * dyy, product_weight) - MulQ16(dxy * dxy, square_weight);
  }
}

}  // namespace

void ComputeResponses(const IntegralImage& integral, const ResponseLayer& layer) {
  const FilterShape shape = ShapeOf(layer.filter);
  const int32_t half = layer.filter / 2;
  const int32_t columns = integral.width - layer.filter;
  ColumnSums sums;
  for (int32_t y = 0; y < integral.height - layer.filter; ++y) {
    int32_t* out = layer.responses + static_cast<int64_t>(y + half) * layer.width + half;
    for (int32_t x = 0; x < columns; x += kChunk) {
      const int32_t n = std::min(kChunk, columns - x);
      SumColumns(integral, shape, y, x, n + layer.filter, &sums);
      RespondChunk(sums, shape, out + x, n);
    }
  }
}

}  // namespace zolt
