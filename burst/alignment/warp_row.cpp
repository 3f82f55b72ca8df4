#include "burst/alignment/warp_row.h"

#include <algorithm>

namespace zolt {
namespace {

/// The upper half of a product of 16-bit numbers; with a fraction in Q15 that is half of a * fraction.
inline int16_t HalfTimes(int16_t a, int16_t fraction) {
  return static_cast<int16_t>((a * fraction) >> 16);
}

/// Keys' cubic, a = -5/8, by Horner's rule, samples in Q4, fraction in Q15. For samples within 5350 of each
/// other: |curve| <= 6 * 5350, |slope| < 3 * 5350. The ones added make up for what shifts cut off.
inline int16_t Cubic(int16_t p0, int16_t p1, int16_t p2, int16_t p3, int16_t fraction) {
  const auto across = static_cast<int16_t>(p2 - p0), sum = static_cast<int16_t>(across + p3 - p1);
  const auto third = static_cast<int16_t>(3 * (p1 - p2) + p3 - p0 + (sum >> 2));
  const auto second =
      static_cast<int16_t>(2 * p0 - 5 * p1 + 4 * p2 - p3 - (static_cast<int16_t>(across + sum) >> 2));
  const auto curve = static_cast<int16_t>(second + 2 * HalfTimes(third, fraction) + 1);
  const auto slope = static_cast<int16_t>(across + (across >> 2) + 2 * HalfTimes(curve, fraction) + 1);
  return static_cast<int16_t>(p1 + HalfTimes(slope, fraction));
}

/// Fractions of a run's places, Q15: the lower halves of the places, for which 16 bits are enough.
inline void Fractions(const WarpRun& run, int16_t* __restrict out) {
  const auto start = static_cast<uint16_t>(run.start), step = static_cast<uint16_t>(run.step);
  for (int i = 0; i < kWarpBlock; ++i) {
    const auto index = static_cast<uint16_t>(i);
    out[i] = static_cast<int16_t>(static_cast<uint16_t>(start + static_cast<uint16_t>(step * index)) >> 1);
  }
}

/// Calls block(whole, first, end) for each stretch of the run whose places share the pixel `whole - bias *
/// i`.
template <typename Block>
inline void ForStretches(const WarpRun& run, int bias, const Block& block) {
  const auto whole = [&](int i) { return run.Whole(i) - bias * i; };
  if (whole(0) == whole(kWarpBlock - 1)) return block(whole(0), 0, kWarpBlock);
  for (int first = 0; first < kWarpBlock;) {
    const int here = whole(first);
    int end = first + 1;
    while (end < kWarpBlock && whole(end) == here) ++end;
    block(here, first, end);
    first = end;
  }
}

void CubicColumns(const uint8_t* __restrict r0, const uint8_t* __restrict r1, const uint8_t* __restrict r2,
                  const uint8_t* __restrict r3, const int16_t* __restrict fractions,
                  int16_t* __restrict out) {
  for (int i = 0; i < kWarpBlock; ++i) {
    out[i] = Cubic(static_cast<int16_t>(r0[i] << 4), static_cast<int16_t>(r1[i] << 4),
                   static_cast<int16_t>(r2[i] << 4), static_cast<int16_t>(r3[i] << 4), fractions[i]);
  }
}

void CubicLine(const int16_t* __restrict line, const int16_t* __restrict fractions, uint8_t* __restrict out) {
  for (int i = 0; i < kWarpBlock; ++i) {
    const int16_t v = Cubic(line[i - 1], line[i], line[i + 1], line[i + 2], fractions[i]);
    const auto rounded = static_cast<int16_t>(static_cast<int16_t>(v + 9) >> 4);
    out[i] = static_cast<uint8_t>(std::clamp<int16_t>(rounded, 0, 255));
  }
}

}  // namespace

void InterpolateColumns(PlaneView from, int column, const WarpRun& heights, int16_t* out) {
  int16_t fractions[kWarpBlock];
  Fractions(heights, fractions);
  ForStretches(heights, 0, [&](int whole, int first, int end) {
    const auto row = [&](int y) { return from.Row(std::clamp(y, 0, from.height - 1)) + column; };
    int16_t values[kWarpBlock];
    const bool all = end - first == kWarpBlock;
    CubicColumns(row(whole - 1), row(whole), row(whole + 1), row(whole + 2), fractions, all ? out : values);
    if (!all) std::copy(values + first, values + end, out + first);
  });
}

void InterpolateLine(const int16_t* line, const WarpRun& places, uint8_t* out) {
  int16_t fractions[kWarpBlock];
  Fractions(places, fractions);
  ForStretches(places, 1, [&](int whole, int first, int end) {
    if (end - first == kWarpBlock) return CubicLine(line + whole, fractions, out);
    uint8_t values[kWarpBlock];
    CubicLine(line + whole, fractions, values);
    std::copy(values + first, values + end, out + first);
  });
}

}  // namespace zolt
