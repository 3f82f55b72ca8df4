#include "noise/wavelet.h"

#include <cassert>
#include <cstddef>

#include "kernels/lifting_rows.h"

namespace zolt {

// Columns first, low rows in the upper half of the temporary, then each row back into the plane.
void WaveletForward(int16_t* plane, int w, int h, int pitch, int16_t* temporary) {
  assert(w % 2 == 0 && h % 2 == 0);
  const int pairs = h / 2;
  int16_t* high = temporary + static_cast<ptrdiff_t>(pairs) * w;
  LiftColumnsForward(plane, pitch, temporary, high, w, w, {0, pairs, pairs});
  for (int r = 0; r < h; ++r) {
    int16_t* row = plane + static_cast<ptrdiff_t>(r) * pitch;
    LiftRowForward(temporary + static_cast<ptrdiff_t>(r) * w, row, row + w / 2, w / 2);
  }
}

void WaveletInverse(int16_t* plane, int w, int h, int pitch, int16_t* temporary) {
  assert(w % 2 == 0 && h % 2 == 0);
  for (int r = 0; r < h; ++r) {
    const int16_t* row = plane + static_cast<ptrdiff_t>(r) * pitch;
    LiftRowInverse(row, row + w / 2, temporary + static_cast<ptrdiff_t>(r) * w, w / 2);
  }
  const int pairs = h / 2;
  const int16_t* high = temporary + static_cast<ptrdiff_t>(pairs) * w;
  LiftColumnsInverse(temporary, high, w, plane, pitch, w, {0, pairs, pairs});
}

template <typename Sample>
void WaveletForward(const Sample* source, int w, int h, int16_t* plane, int16_t* rows) {
  const int pairs = h / 2;
  LiftPairsForward(source, w, w, {0, pairs, pairs}, rows,
                   [&](int i, const int16_t* low, const int16_t* high) {
                     int16_t* upper = plane + static_cast<ptrdiff_t>(i) * w;
                     int16_t* lower = upper + static_cast<ptrdiff_t>(pairs) * w;
                     LiftRowForward(low, upper, upper + w / 2, w / 2);
                     LiftRowForward(high, lower, lower + w / 2, w / 2);
                   });
}

template void WaveletForward(const uint8_t*, int, int, int16_t*, int16_t*);
template void WaveletForward(const int16_t*, int, int, int16_t*, int16_t*);

void WaveletInverse(const int16_t* plane, int w, int h, int first, int count, uint8_t* destination,
                    int16_t* rows) {
  assert(first % 2 == 0 && count % 2 == 0);
  const auto read = [&](int r, int16_t* out) {
    const int16_t* row = plane + static_cast<ptrdiff_t>(r) * w;
    LiftRowInverse(row, row + w / 2, out, w / 2);
  };
  LiftPairsInverse(
      w, {first / 2, (first + count) / 2, h / 2}, rows, read,
      [&](int i, int16_t* out) { read(h / 2 + i, out); },
      [&](int y, const int16_t* row) {
        Narrow16To8(row, destination + static_cast<ptrdiff_t>(y - first) * w, w);
      });
}

}  // namespace zolt
