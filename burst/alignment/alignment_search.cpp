#include "burst/alignment/alignment_search.h"

#include <algorithm>
#include <cmath>

#include "base/vector_clones.h"
#include "burst/alignment/alignment_stripes.h"
#include "burst/memory/layer_vector.h"

namespace zolt {
namespace {

/// Sums over the overlap. Of pixels in 1/8 level, at most 2040: a row of 1000 fits in 32 bits.
struct OverlapSums {
  int64_t a = 0, b = 0, aa = 0, bb = 0, ab = 0, n = 0;

  void AddRow(const int16_t* __restrict p, const int16_t* __restrict q, int count) {
    constexpr int kChunk = 512;
    for (; count > 0; count -= kChunk, p += kChunk, q += kChunk) {
      const int m = std::min(count, kChunk);
      int32_t sa = 0, sb = 0, saa = 0, sbb = 0, sab = 0;
      for (int x = 0; x < m; ++x) {
        const auto v = static_cast<int16_t>(p[x] >> 2), w = static_cast<int16_t>(q[x] >> 2);
        sa += v;
        sb += w;
        saa += v * v;
        sbb += w * w;
        sab += v * w;
      }
      a += sa;
      b += sb;
      aa += saa;
      bb += sbb;
      ab += sab;
      n += m;
    }
  }

  double Correlation() const {
    const double count = static_cast<double>(n);
    const double mean_a = static_cast<double>(a) / count, mean_b = static_cast<double>(b) / count;
    const double of_a = static_cast<double>(aa) / count - mean_a * mean_a;
    const double of_b = static_cast<double>(bb) / count - mean_b * mean_b;
    if (!(of_a > 0) || !(of_b > 0)) return 0;
    return (static_cast<double>(ab) / count - mean_a * mean_b) / std::sqrt(of_a * of_b);
  }
};

ZOLT_VECTOR_CLONES double CorrelationAt(const GreyPlane& reference, const GreyPlane& frame, int shift_x,
                                        int shift_y) {
  const int width = std::min(reference.width, frame.width), height = std::min(reference.height, frame.height);
  const int x0 = std::max(0, -shift_x), x1 = std::min(width, width - shift_x);
  const int y0 = std::max(0, -shift_y), y1 = std::min(height, height - shift_y);
  OverlapSums sums;
  for (int y = y0; y < y1; ++y)
    sums.AddRow(reference.Row(y) + x0, frame.Row(y + shift_y) + x0 + shift_x, x1 - x0);
  return sums.Correlation();
}

}  // namespace

LayerVector<ShiftScore> SearchShifts(const GreyPlane& reference, const GreyPlane& frame, int reach_x,
                                     int reach_y, int count, int threads) {
  reach_x = std::min(reach_x, reference.width / 2);
  reach_y = std::min(reach_y, reference.height / 2);
  // A strip of a picture may be huge at its smallest size: it gets as many shifts as a moment allows.
  constexpr double kMostPixels = 1e8;
  const double pixels = static_cast<double>(reference.width) * reference.height;
  while (reach_x > 1 && (2.0 * reach_x + 1) * (2 * reach_y + 1) * pixels > kMostPixels) {
    reach_x -= reach_x / 4 + 1;
    reach_y -= reach_y / 4;
  }
  reach_x = std::max(reach_x, 1);
  const int columns = 2 * reach_x + 1, rows = 2 * reach_y + 1;
  LayerVector<double> map(static_cast<size_t>(columns) * rows);
  RunStripes(threads, rows, [&](int r) {
    for (int c = 0; c < columns; ++c) {
      map[static_cast<size_t>(r) * columns + c] = CorrelationAt(reference, frame, c - reach_x, r - reach_y);
    }
  });
  LayerVector<ShiftScore> found;
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c) {
      const double here = map[static_cast<size_t>(r) * columns + c];
      bool best = true;
      for (int y = std::max(r - 1, 0); y <= std::min(r + 1, rows - 1); ++y) {
        for (int x = std::max(c - 1, 0); x <= std::min(c + 1, columns - 1); ++x) {
          best = best && map[static_cast<size_t>(y) * columns + x] <= here;
        }
      }
      if (best) found.push_back({c - reach_x, r - reach_y, here});
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const ShiftScore& a, const ShiftScore& b) { return a.correlation > b.correlation; });
  if (found.size() > static_cast<size_t>(count)) found.resize(static_cast<size_t>(count));
  return found;
}

}  // namespace zolt
