#include "noise/wavelet.h"

#include <cassert>
#include <cstddef>

#include "kernels/lifting53.h"

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

}  // namespace zolt
