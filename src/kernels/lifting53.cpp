#include "kernels/lifting53.h"

#include <cassert>
#include <cstddef>

#include "base/arithmetic.h"

namespace zolt {
namespace {

constexpr int16_t Wrap16(int v) {
  return static_cast<int16_t>(v);
}

// floor((a + b) / 2) without a 17th bit: halves as many vector instructions as widening would take.
constexpr int FloorAverage(int16_t a, int16_t b) {
  return (a & b) + ((a ^ b) >> 1);
}

constexpr int16_t Predict(int16_t even, int16_t odd, int16_t next_even) {
  return Wrap16(odd - FloorAverage(even, next_even));
}

constexpr int Update(int16_t previous, int16_t current) {
  return Wrap16(previous + current) >> 2;
}

// One pair of rows forward; `update(x, d)` is what the low-pass sample of column x takes from the details.
template <typename Sample, typename UpdateOf>
void PairForward(const Sample* even, const Sample* odd, const Sample* next_even, int16_t* __restrict s,
                 int16_t* __restrict d, int w, UpdateOf update) {
  for (int x = 0; x < w; ++x) {
    const int16_t detail = Predict(even[x], odd[x], next_even[x]);
    d[x] = detail;
    s[x] = Wrap16(even[x] + update(x, detail));
  }
}

// The odd row i where the even row below it belongs to another thread.
void OddRow(const int16_t* s_next, const int16_t* d, const int16_t* d_next, const int16_t* __restrict even,
            int16_t* __restrict odd, int w) {
  for (int x = 0; x < w; ++x) {
    const int16_t below = Wrap16(s_next[x] - Update(d[x], d_next[x]));
    odd[x] = Wrap16(d[x] + FloorAverage(even[x], below));
  }
}

}  // namespace

void LiftRowForward(const int16_t* x, int16_t* s, int16_t* d, int n) {
  const int16_t* __restrict source = x;
  int16_t* __restrict low = s;
  int16_t* __restrict high = d;
  for (int i = 0; i < n; ++i) {
    low[i] = source[2 * i];
    high[i] = source[2 * i + 1];
  }
  for (int i = 0; i < n - 1; ++i) high[i] = Predict(low[i], high[i], low[i + 1]);
  high[n - 1] = Wrap16(high[n - 1] - low[n - 1]);
  low[0] = Wrap16(low[0] + (high[0] >> 1));
  for (int i = 1; i < n; ++i) low[i] = Wrap16(low[i] + Update(high[i - 1], high[i]));
}

void LiftRowInverse(const int16_t* s, const int16_t* d, int16_t* x, int n) {
  int16_t* __restrict out = x;
  // Both even neighbours are worked out anew for each odd sample: arithmetic is cheaper here than a pass
  // more.
  const auto even = [s, d](int i) { return Wrap16(s[i] - Update(d[i - 1], d[i])); };
  const int16_t first = Wrap16(s[0] - (d[0] >> 1));
  out[0] = first;
  if (n == 1) {
    out[1] = Wrap16(d[0] + first);
    return;
  }
  out[1] = Wrap16(d[0] + FloorAverage(first, even(1)));
  for (int i = 1; i < n - 1; ++i) {
    const int16_t left = even(i);
    out[2 * i] = left;
    out[2 * i + 1] = Wrap16(d[i] + FloorAverage(left, even(i + 1)));
  }
  out[2 * n - 2] = even(n - 1);
  out[2 * n - 1] = Wrap16(d[n - 1] + out[2 * n - 2]);
}

template <typename Sample>
void LiftPairForward(const Sample* even, int pitch, int i, int total, const int16_t* d_before, int16_t* s,
                     int16_t* d, int w) {
  const Sample* odd = even + pitch;
  // Behind the last pair the even row mirrors: the average of equals is the row itself.
  const Sample* next_even = i + 1 < total ? odd + pitch : even;
  if (i == 0) {
    PairForward(even, odd, next_even, s, d, w, [](int, int16_t detail) { return detail >> 1; });
  } else if (d_before == nullptr) {
    const Sample* odd_before = even - pitch;
    const Sample* even_before = odd_before - pitch;
    PairForward(even, odd, next_even, s, d, w, [=](int c, int16_t detail) {
      return Update(Predict(even_before[c], odd_before[c], even[c]), detail);
    });
  } else {
    PairForward(even, odd, next_even, s, d, w,
                [=](int c, int16_t detail) { return Update(d_before[c], detail); });
  }
}

template void LiftPairForward(const uint8_t*, int, int, int, const int16_t*, int16_t*, int16_t*, int);
template void LiftPairForward(const int16_t*, int, int, int, const int16_t*, int16_t*, int16_t*, int);

void LiftEvenRow(const int16_t* s, const int16_t* d_before, const int16_t* d, int16_t* even, int w) {
  int16_t* __restrict out = even;
  if (d_before == nullptr) {
    for (int x = 0; x < w; ++x) out[x] = Wrap16(s[x] - (d[x] >> 1));
  } else {
    for (int x = 0; x < w; ++x) out[x] = Wrap16(s[x] - Update(d_before[x], d[x]));
  }
}

void LiftOddRow(const int16_t* s_next, const int16_t* d, const int16_t* d_next, const int16_t* even,
                int16_t* odd, int16_t* next_even, int w) {
  const int16_t* __restrict above = even;
  int16_t* __restrict out = odd;
  int16_t* __restrict next = next_even;
  if (next == nullptr) {
    for (int x = 0; x < w; ++x) out[x] = Wrap16(d[x] + above[x]);
    return;
  }
  for (int x = 0; x < w; ++x) {
    const int16_t detail = d[x];
    const int16_t below = Wrap16(s_next[x] - Update(detail, d_next[x]));
    next[x] = below;
    out[x] = Wrap16(detail + FloorAverage(above[x], below));
  }
}

void LiftColumnsForward(const int16_t* x, int pitch, int16_t* low, int16_t* high, int band_pitch, int w,
                        PairRange pairs) {
  assert(pairs.first >= 0 && pairs.last <= pairs.total);
  for (int i = pairs.first; i < pairs.last; ++i) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(i) * band_pitch;
    int16_t* d = high + row;
    LiftPairForward(x + static_cast<ptrdiff_t>(2 * i) * pitch, pitch, i, pairs.total,
                    i == pairs.first ? nullptr : d - band_pitch, low + row, d, w);
  }
}

void LiftColumnsInverse(const int16_t* low, const int16_t* high, int band_pitch, int16_t* x, int pitch, int w,
                        PairRange pairs) {
  assert(pairs.first >= 0 && pairs.last <= pairs.total);
  for (int i = pairs.first; i < pairs.last; ++i) {
    const int16_t* s = low + static_cast<ptrdiff_t>(i) * band_pitch;
    const int16_t* d = high + static_cast<ptrdiff_t>(i) * band_pitch;
    int16_t* even = x + static_cast<ptrdiff_t>(2 * i) * pitch;
    int16_t* odd = even + pitch;
    if (i == pairs.first) LiftEvenRow(s, i == 0 ? nullptr : d - band_pitch, d, even, w);
    if (i + 1 == pairs.total) {
      LiftOddRow(nullptr, d, nullptr, even, odd, nullptr, w);
    } else if (i + 1 == pairs.last) {
      OddRow(s + band_pitch, d, d + band_pitch, even, odd, w);
    } else {
      LiftOddRow(s + band_pitch, d, d + band_pitch, even, odd, odd + pitch, w);
    }
  }
}

void Narrow16To8(const int16_t* source, uint8_t* destination, int64_t count) {
  const int16_t* __restrict in = source;
  uint8_t* __restrict out = destination;
  for (int64_t i = 0; i < count; ++i) out[i] = SaturateU8(in[i]);
}

}  // namespace zolt
