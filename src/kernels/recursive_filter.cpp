#include "kernels/recursive_filter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "base/arithmetic.h"

namespace zolt {
namespace {

constexpr int kCentre = 120;
constexpr int kChunk = 64;  // columns whose intermediates stay in the first-level cache
constexpr double kLogQuarter = -1.3862943611198906;

struct Tables {
  const int16_t* horizontal;
  const int16_t* vertical;
  const int16_t* back;
};

inline int32_t IndexOf(int32_t difference) {
  return Clamp((difference + 3856) >> 5, 0, 240);
}

inline int32_t Look(const int16_t* table, int32_t difference) {
  return table[IndexOf(difference)];
}

inline int16_t ToGrey(int32_t state, int32_t taken_back) {
  return static_cast<int16_t>((taken_back + state + 63) >> 7);
}

// The pass's first row has no row before it: its horizontal chain is the result. `Step` is 1 for a row that
// runs to the right, -1 to the left; the pointers are at the pass's first pixel.
template <int Step>
void FirstRow(int32_t* state, const Tables& t, const int16_t* in, int16_t* out, int w) {
  int32_t y = in[0] * 128;
  state[0] = y;
  for (int x = 1; x < w; ++x) {
    const int32_t c = in[Step * x] * 128;
    const int32_t pull = Look(t.horizontal, y - c);
    y = c + pull;
    state[Step * x] = y;
    out[Step * x] = ToGrey(y, Look(t.back, -pull));
  }
}

// Replaces each index by its table entry. Look-ups have no vector form, so all else is kept out of the loop.
void LookAll(const int16_t* table, int32_t* index, int n) {
  for (int x = 0; x < n; ++x) index[x] = table[index[x]];
}

void ToIndex(const int32_t* __restrict a, const int32_t* __restrict b, int32_t* __restrict index, int n) {
  for (int x = 0; x < n; ++x) index[x] = IndexOf(a[x] - b[x]);
}

// `Rows` rows behind the first, `kChunk` columns at a time. Only the horizontal chains are serial, each on
// its own row: several of them at once keep the processor busy while it waits for their look-ups. The rest
// runs in vectors along the chunk.
template <int Step, int Rows>
void RunRows(int32_t* state, const Tables& t, const int16_t* in, ptrdiff_t in_pitch, int16_t* out,
             ptrdiff_t out_pitch, int w) {
  int32_t c[Rows][kChunk], y[Rows][kChunk], index[kChunk], above[kChunk];
  int32_t chain[Rows];
  for (int r = 0; r < Rows; ++r) chain[r] = in[r * in_pitch] * 128;
  for (int first = 0; first < w; first += kChunk) {
    const int n = std::min(kChunk, w - first);
    const ptrdiff_t at = static_cast<ptrdiff_t>(Step) * first;
    for (int r = 0; r < Rows; ++r) {
      const int16_t* source = in + r * in_pitch + at;
      for (int x = 0; x < n; ++x) c[r][x] = source[Step * x] * 128;
    }
    for (int x = 0; x < n; ++x) {
      // At a row's start the chain is c, and a difference of 0 pulls nothing.
      for (int r = 0; r < Rows; ++r) y[r][x] = chain[r] = c[r][x] + Look(t.horizontal, chain[r] - c[r][x]);
    }
    for (int x = 0; x < n; ++x) above[x] = state[at + Step * x];
    for (int r = 0; r < Rows; ++r) {
      ToIndex(r == 0 ? above : y[r - 1], y[r], index, n);
      LookAll(t.vertical, index, n);
      for (int x = 0; x < n; ++x) y[r][x] += index[x];
    }
    for (int x = 0; x < n; ++x) state[at + Step * x] = y[Rows - 1][x];
    for (int r = 0; r < Rows; ++r) {
      ToIndex(c[r], y[r], index, n);
      LookAll(t.back, index, n);
      int16_t* destination = out + r * out_pitch + at;
      for (int x = 0; x < n; ++x) destination[Step * x] = ToGrey(y[r][x], index[x]);
    }
  }
}

// All pointers at the pass's first pixel; pitches lead from row to row in the pass's direction.
template <int Step>
void RunPass(int32_t* state, const Tables& t, const int16_t* in, ptrdiff_t in_pitch, int16_t* out,
             ptrdiff_t out_pitch, int w, int h) {
  FirstRow<Step>(state, t, in, out, w);
  constexpr int kRows = 4;
  int r = 1;
  for (; r + kRows <= h; r += kRows) {
    RunRows<Step, kRows>(state, t, in + r * in_pitch, in_pitch, out + r * out_pitch, out_pitch, w);
  }
  for (; r < h; ++r) {
    RunRows<Step, 1>(state, t, in + r * in_pitch, in_pitch, out + r * out_pitch, out_pitch, w);
  }
}

}  // namespace

int32_t LowBandStrength(int32_t luma_lf) {
  const int64_t strength = std::max<int64_t>(luma_lf, -100) + 100;
  return static_cast<int32_t>(std::min<int64_t>(strength, INT32_MAX));
}

int32_t BackShare(int32_t detail) {
  const int64_t d = int64_t{-58} * detail;
  if (d < 2720) return 5000;
  return d > 5720 ? 8000 : static_cast<int32_t>(d) + 2280;
}

void BuildRecursiveLut(RecursiveTables* tables, int32_t p, int32_t back) {
  *tables = {};
  if (p >= 511) return;
  const float argument = 1.0f - static_cast<float>(p) / 511.0f - 0.00001f;
  const auto exponent = static_cast<float>(kLogQuarter / std::log(static_cast<double>(argument)));
  for (int v = -kCentre; v <= 0; ++v) {
    const auto u = static_cast<float>(1 + v / 2044.0);
    const double k = std::pow(static_cast<double>(u), static_cast<double>(exponent));
    const auto pull = static_cast<int16_t>(TruncateToI32(k * v * 32.0));
    tables->tableStep[v + kCentre] = pull;
    tables->tableStep[kCentre - v] = static_cast<int16_t>(-pull);
  }
  for (int i = 0; i <= kCentre; ++i) {
    const auto share = static_cast<int16_t>((back * tables->tableStep[kCentre + i] + 4096) >> 13);
    tables->tableBack[kCentre + i] = share;
    tables->tableBack[kCentre - i] = static_cast<int16_t>(-share);
  }
}

void RecursiveForward(int32_t* row_state, const int16_t* horizontal, const int16_t* vertical,
                      const int16_t* back, const int16_t* source, int source_pitch, int16_t* destination,
                      int destination_pitch, int w, int h) {
  RunPass<1>(row_state, {horizontal, vertical, back}, source, source_pitch, destination, destination_pitch, w,
             h);
}

void RecursiveBackward(int32_t* row_state, const int16_t* horizontal, const int16_t* vertical,
                       const int16_t* back, const int16_t* source, int source_pitch, int16_t* destination,
                       int destination_pitch, int w, int h) {
  const ptrdiff_t source_last = static_cast<ptrdiff_t>(h - 1) * source_pitch + w - 1;
  const ptrdiff_t destination_last = static_cast<ptrdiff_t>(h - 1) * destination_pitch + w - 1;
  RunPass<-1>(row_state + w - 1, {horizontal, vertical, back}, source + source_last, -source_pitch,
              destination + destination_last, -destination_pitch, w, h);
}

}  // namespace zolt
