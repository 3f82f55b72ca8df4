#include "kernels/pseudo_median.h"

#include <algorithm>
#include <cstddef>

#include "base/arithmetic.h"

namespace zolt {
namespace {

void RowMedian(const uint8_t* row, uint8_t* __restrict median, int w) {
  for (int x = 1; x < w - 1; ++x) median[x] = Median3(row[x - 1], row[x], row[x + 1]);
}

template <typename Out>
void ColumnMedian(const uint8_t* above, const uint8_t* at, const uint8_t* below, Out* __restrict out, int w) {
  for (int x = 1; x < w - 1; ++x) out[x] = Median3(above[x], at[x], below[x]);
}

}  // namespace

template <typename Out>
void PseudoMedian3x3(const uint8_t* source, int source_pitch, Out* destination, int destination_pitch, int w,
                     int h, uint8_t* row_scratch) {
  const auto in = [=](int r) { return source + static_cast<ptrdiff_t>(r) * source_pitch; };
  const auto out = [=](int r) { return destination + static_cast<ptrdiff_t>(r) * destination_pitch; };
  std::copy_n(in(0), w, out(0));
  if (h == 1) return;
  // Row medians of three rows in turn: a row is read before its result may overwrite it.
  uint8_t* medians[3] = {row_scratch, row_scratch + w, row_scratch + 2 * static_cast<ptrdiff_t>(w)};
  if (h > 2) {
    RowMedian(in(0), medians[0], w);
    RowMedian(in(1), medians[1], w);
  }
  for (int r = 1; r < h - 1; ++r) {
    RowMedian(in(r + 1), medians[(r + 1) % 3], w);
    out(r)[0] = in(r)[0];
    out(r)[w - 1] = in(r)[w - 1];
    ColumnMedian(medians[(r - 1) % 3], medians[r % 3], medians[(r + 1) % 3], out(r), w);
  }
  std::copy_n(in(h - 1), w, out(h - 1));
}

template void PseudoMedian3x3<uint8_t>(const uint8_t*, int, uint8_t*, int, int, int, uint8_t*);
template void PseudoMedian3x3<int16_t>(const uint8_t*, int, int16_t*, int, int, int, uint8_t*);

}  // namespace zolt
