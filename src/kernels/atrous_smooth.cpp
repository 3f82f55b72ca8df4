#include "kernels/atrous_smooth.h"

#include <algorithm>

#include "base/arithmetic.h"

namespace zolt {
namespace {

/// A sample's index reflected about the line's ends until it falls inside.
inline int Reflect(int i, int n) {
  if (n == 1) return 0;
  while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
  return i;
}

inline int16_t QuarterSum(int before, int centre, int after) {
  return static_cast<int16_t>((before + 2 * centre + after + 2) >> 2);
}

/// avg(avg(before, after), centre) over a run of samples that have both taps.
void InsideRun(const int16_t* before, const int16_t* centre, const int16_t* after, int16_t* __restrict out,
               int count) {
  for (int x = 0; x < count; ++x) {
    const auto outer = static_cast<int16_t>(RoundingHalf(before[x], after[x]));
    out[x] = static_cast<int16_t>(RoundingHalf(outer, centre[x]));
  }
}

/// The ends' rule across a row whose vertical taps were reflected.
void EndRun(const int16_t* before, const int16_t* centre, const int16_t* after, int16_t* __restrict out,
            int count) {
  for (int x = 0; x < count; ++x) out[x] = QuarterSum(before[x], centre[x], after[x]);
}

void SmoothRow(const int16_t* row, int16_t* out, int w, int hole) {
  const int first = std::min(hole, w);         // samples before it miss their left tap
  const int last = std::max(first, w - hole);  // samples from it on miss their right tap
  for (int x = 0; x < first; ++x)
    out[x] = QuarterSum(row[Reflect(x - hole, w)], row[x], row[Reflect(x + hole, w)]);
  InsideRun(row + first - hole, row + first, row + first + hole, out + first, last - first);
  for (int x = last; x < w; ++x)
    out[x] = QuarterSum(row[Reflect(x - hole, w)], row[x], row[Reflect(x + hole, w)]);
}

}  // namespace

void AtrousSmooth(const int16_t* source, int source_pitch, int16_t* destination, int destination_pitch,
                  int16_t* temporary, int temporary_pitch, int w, int h, int hole) {
  if (hole != 1 && hole != 2 && hole != 4 && hole != 8 && hole != 16) return;
  for (int y = 0; y < h; ++y) {
    SmoothRow(source + static_cast<int64_t>(y) * source_pitch,
              temporary + static_cast<int64_t>(y) * temporary_pitch, w, hole);
  }
  const auto row = [&](int y) { return temporary + static_cast<int64_t>(Reflect(y, h)) * temporary_pitch; };
  for (int y = 0; y < h; ++y) {
    const bool inside = y - hole >= 0 && y + hole < h;
    const auto run = inside ? InsideRun : EndRun;
    run(row(y - hole), row(y), row(y + hole), destination + static_cast<int64_t>(y) * destination_pitch, w);
  }
}

}  // namespace zolt
