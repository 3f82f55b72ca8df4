#include "ghost/difference_mask.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>

#include "base/arithmetic.h"
#include "kernels/box_downscale.h"

namespace zolt {
namespace {

constexpr int kReach = 3;  ///< taps on either side of the low-pass

/// Weights of positions y - 3 to y + 3 for one output.
struct Taps {
  int16_t weight[2 * kReach + 1];
};

constexpr Taps kInner = {{1, 6, 15, 20, 15, 6, 1}};
/// Positions 0, 1, 2 of a line. The last three mirror them.
constexpr Taps kStart[kReach] = {
    {{0, 0, 0, 20, 30, 12, 2}}, {{0, 0, 15, 20, 15, 12, 2}}, {{0, 6, 15, 20, 15, 6, 2}}};
/// Position 1 along rows.
constexpr Taps kRowSecond = {{0, 0, 15, 20, 15, 12, 12}};

constexpr Taps Mirrored(const Taps& taps) {
  Taps mirrored = taps;
  std::reverse(mirrored.weight, mirrored.weight + 2 * kReach + 1);
  return mirrored;
}

/// The taps for position `y` of a column with `n` pixels.
Taps ColumnTaps(int y, int n) {
  if (y < kReach) return kStart[y];
  if (n - 1 - y < kReach) return Mirrored(kStart[n - 1 - y]);
  return kInner;
}

int16_t LowPassAt(const int16_t* p, int x, int n, const Taps& taps) {
  int sum = 0;
  for (int k = -kReach; k <= kReach; ++k) {
    if (x + k >= 0 && x + k < n) sum += taps.weight[k + kReach] * p[x + k];
  }
  return static_cast<int16_t>(sum >> 6);
}

void LowPassRow(const int16_t* __restrict p, int n, int16_t* __restrict out) {
  for (int x = 0; x < kReach; ++x) {
    out[x] = LowPassAt(p, x, n, x == 1 ? kRowSecond : kStart[x]);
    out[n - 1 - x] = LowPassAt(p, n - 1 - x, n, Mirrored(kStart[x]));
  }
  for (int x = kReach; x < n - kReach; ++x) {
    const auto sum = static_cast<int16_t>((p[x - 3] + p[x + 3]) + 6 * (p[x - 2] + p[x + 2]) +
                                          15 * (p[x - 1] + p[x + 1]) + 20 * p[x]);
    out[x] = static_cast<int16_t>(sum >> 6);
  }
}

/// Low-pass along columns of seven rows, rows[3] in the middle, and the comparison. Limits fit 16 bits here.
void CompareRow(const int16_t* const rows[7], const Taps& taps, const uint8_t* __restrict aligned,
                const DifferenceLimits& limits, int n, uint8_t* __restrict mask) {
  const int16_t *p0 = rows[0], *p1 = rows[1], *p2 = rows[2], *p3 = rows[3], *p4 = rows[4], *p5 = rows[5],
                *p6 = rows[6];
  const auto [w0, w1, w2, w3, w4, w5, w6] = taps.weight;
  const auto high = static_cast<int16_t>(limits.high), flip = static_cast<int16_t>(limits.low ^ limits.high);
  const auto noise = static_cast<int16_t>(limits.noise);
  for (int x = 0; x < n; ++x) {
    const auto sum = static_cast<int16_t>(w0 * p0[x] + w1 * p1[x] + w2 * p2[x] + w3 * p3[x] + w4 * p4[x] +
                                          w5 * p5[x] + w6 * p6[x]);
    const auto d = static_cast<int16_t>(sum >> 6);
    const auto magnitude = static_cast<int16_t>(d < 0 ? -d : d);
    // All ones where the aligned pixel is below `noise`. A conditional would be widened to 32-bit lanes.
    const auto below = static_cast<int16_t>(aligned[x] - noise);
    const auto dark = static_cast<int16_t>(below >> 15);
    const auto limit = static_cast<int16_t>(high ^ (flip & dark));
    mask[x] = magnitude > limit ? 255 : 0;
  }
}

/// Mask row r's pixels of a plane.
void DownscaleRow(const uint8_t* plane, int w, MaskScale scale, int r, uint8_t* out) {
  const uint8_t* source = plane + static_cast<ptrdiff_t>(r) * static_cast<int>(scale) * w;
  switch (scale) {
    case MaskScale::kQuarter:
      Box4Down(source, 4, w, out);
      break;
    case MaskScale::kHalf:
      Box2Down(source, w, out, w, 2);
      break;
    case MaskScale::kFull:
      std::memcpy(out, source, static_cast<size_t>(w));
      break;
  }
}

void SubtractRow(const uint8_t* __restrict a, const uint8_t* __restrict b, int n, int16_t* __restrict out) {
  for (int x = 0; x < n; ++x) out[x] = static_cast<int16_t>(a[x] - b[x]);
}

/// The same comparisons within 16 bits: no magnitude is below 0 or above 32767, no pixel outside 0..255.
DifferenceLimits Narrowed(const DifferenceLimits& limits) {
  return {Clamp(limits.low, -1, 32767), Clamp(limits.high, -1, 32767), Clamp(limits.noise, 0, 256)};
}

}  // namespace

DifferenceRows DifferenceRows::Cut(RegionCutter* filtered_block, RegionCutter* rows_block, int columns) {
  const auto n = static_cast<uint64_t>(columns);
  DifferenceRows rows;
  rows.filtered = filtered_block->Take<int16_t>(kFiltered * n);
  rows.difference = rows_block->Take<int16_t>(n);
  rows.aligned = rows_block->Take<uint8_t>(kAligned * n);
  rows.first = rows_block->Take<uint8_t>(n);
  return rows;
}

uint64_t DifferenceRows::Size(int columns) {
  return static_cast<uint64_t>(columns) * (2 * kFiltered + 2 + kAligned + 1) + 1;
}

void DifferenceMask(const PlanePair& planes, MaskScale scale, const DifferenceLimits& limits,
                    const DifferenceRows& rows, uint8_t* mask) {
  const int columns = planes.w / static_cast<int>(scale), mask_rows = planes.h / static_cast<int>(scale);
  assert(columns >= 2 * kReach && mask_rows >= 2 * kReach);
  const DifferenceLimits narrowed = Narrowed(limits);
  const ptrdiff_t step = columns;
  const auto filtered_row = [&](int r) { return rows.filtered + r % DifferenceRows::kFiltered * step; };
  const auto aligned_row = [&](int r) { return rows.aligned + r % DifferenceRows::kAligned * step; };
  for (int r = 0; r < mask_rows + kReach; ++r) {
    if (r < mask_rows) {
      DownscaleRow(planes.aligned, planes.w, scale, r, aligned_row(r));
      DownscaleRow(planes.first, planes.w, scale, r, rows.first);
      SubtractRow(aligned_row(r), rows.first, columns, rows.difference);
      LowPassRow(rows.difference, columns, filtered_row(r));
    }
    const int y = r - kReach;
    if (y < 0) continue;
    const int16_t* around[2 * kReach + 1];
    // A row beyond the ends has weight 0; which row stands in for it does not matter.
    for (int k = -kReach; k <= kReach; ++k) around[k + kReach] = filtered_row(Clamp(y + k, 0, mask_rows - 1));
    CompareRow(around, ColumnTaps(y, mask_rows), aligned_row(y), narrowed, columns, mask + y * step);
  }
}

}  // namespace zolt
