#include "support/slow_ghost.h"

#include <algorithm>
#include <cstdlib>

namespace zolt::test {
namespace {

std::vector<int> Downscale(const uint8_t* plane, int w, int h, MaskScale scale) {
  std::vector<int> out;
  const int n = static_cast<int>(scale);
  for (int y = 0; y + n <= h; y += n) {
    for (int x = 0; x + n <= w; x += n) {
      const uint8_t* p = plane + y * w + x;
      int sum = 0;
      for (int i = 0; i < n * n; ++i) sum += p[i / n * w + i % n];
      if (scale == MaskScale::kQuarter) out.push_back((sum + 8) >> 4);
      if (scale == MaskScale::kHalf)
        out.push_back((((p[0] + p[1] + 1) >> 1) + ((p[w] + p[w + 1] + 1) >> 1) + 1) >> 1);
      if (scale == MaskScale::kFull) out.push_back(p[0]);
    }
  }
  return out;
}

/// One line of n values `step` apart.
void LowPassLine(int* line, int n, int step, int second_weight) {
  std::vector<int> p(n);
  for (int i = 0; i < n; ++i) p[i] = line[i * step];
  const int e = n - 1;
  for (int i = 3; i <= e - 3; ++i) {
    line[i * step] =
        (p[i - 3] + 6 * p[i - 2] + 15 * p[i - 1] + 20 * p[i] + 15 * p[i + 1] + 6 * p[i + 2] + p[i + 3]) >> 6;
  }
  line[0] = (20 * p[0] + 30 * p[1] + 12 * p[2] + 2 * p[3]) >> 6;
  line[step] = (15 * p[0] + 20 * p[1] + 15 * p[2] + 12 * p[3] + second_weight * p[4]) >> 6;
  line[2 * step] = (6 * p[0] + 15 * p[1] + 20 * p[2] + 15 * p[3] + 6 * p[4] + 2 * p[5]) >> 6;
  line[e * step] = (20 * p[e] + 30 * p[e - 1] + 12 * p[e - 2] + 2 * p[e - 3]) >> 6;
  line[(e - 1) * step] = (15 * p[e] + 20 * p[e - 1] + 15 * p[e - 2] + 12 * p[e - 3] + 2 * p[e - 4]) >> 6;
  line[(e - 2) * step] =
      (6 * p[e] + 15 * p[e - 1] + 20 * p[e - 2] + 15 * p[e - 3] + 6 * p[e - 4] + 2 * p[e - 5]) >> 6;
}

}  // namespace

std::vector<uint8_t> SlowMorphology(const std::vector<uint8_t>& mask, int w, int h, int radius, bool dilate) {
  std::vector<uint8_t> out(mask.size());
  for (int i = 0; i < w * h; ++i) {
    bool any = false, all = true;
    for (int y = std::max(0, i / w - radius); y <= std::min(h - 1, i / w + radius); ++y) {
      for (int x = std::max(0, i % w - radius); x <= std::min(w - 1, i % w + radius); ++x) {
        any = any || mask[y * w + x] != 0;
        all = all && mask[y * w + x] != 0;
      }
    }
    out[i] = (dilate ? any : all) ? 255 : 0;
  }
  return out;
}

std::vector<uint8_t> SlowDifferenceMask(const PlanePair& planes, MaskScale scale,
                                        const DifferenceLimits& limits) {
  const int columns = planes.w / static_cast<int>(scale), rows = planes.h / static_cast<int>(scale);
  const std::vector<int> aligned = Downscale(planes.aligned, planes.w, planes.h, scale);
  const std::vector<int> first = Downscale(planes.first, planes.w, planes.h, scale);
  std::vector<int> d(aligned.size());
  for (size_t i = 0; i < d.size(); ++i) d[i] = aligned[i] - first[i];
  for (int y = 0; y < rows; ++y) LowPassLine(&d[y * columns], columns, 1, 12);
  for (int x = 0; x < columns; ++x) LowPassLine(&d[x], rows, columns, 2);
  std::vector<uint8_t> mask(d.size());
  for (size_t i = 0; i < d.size(); ++i) {
    mask[i] = std::abs(d[i]) > (limits.noise > aligned[i] ? limits.low : limits.high) ? 255 : 0;
  }
  return mask;
}

}  // namespace zolt::test
