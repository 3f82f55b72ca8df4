#include "noise/chroma_boost.h"

#include <cstdlib>

#include "base/arithmetic.h"
#include "base/vector_clones.h"
#include "noise/chroma_boost_tables.h"

namespace zolt {
namespace {

constexpr int kBlock = 8;

inline int16_t Scaled(uint8_t v, int16_t gain) {
  return static_cast<int16_t>(128 + (static_cast<int16_t>((v - 128) * gain + 64) >> 7));
}

template <bool kPartialBlock>
void BoostRun(uint8_t* u, uint8_t* v, int count, const int16_t* table) {
  // Only the look-up goes lane by lane: it has a loop of its own, so that the arithmetic around it is in
  // vectors.
  constexpr int kRun = 64;
  uint8_t index[kRun];
  int16_t gain[kRun];
  for (int first = 0; first < count; first += kRun) {
    const int n = count - first < kRun ? count - first : kRun;
    uint8_t* __restrict out_u = u + first;
    uint8_t* __restrict out_v = v + first;
    for (int x = 0; x < n; ++x) {
      index[x] = std::abs(out_u[x] - 128) > std::abs(out_v[x] - 128) ? out_u[x] : out_v[x];
    }
    for (int x = 0; x < n; ++x) gain[x] = table[index[x]];
    for (int x = 0; x < n; ++x) {
      const int16_t boosted_u = Scaled(out_u[x], gain[x]), boosted_v = Scaled(out_v[x], gain[x]);
      out_u[x] = kPartialBlock ? static_cast<uint8_t>(boosted_u) : SaturateU8(boosted_u);
      out_v[x] = kPartialBlock ? static_cast<uint8_t>(boosted_v) : SaturateU8(boosted_v);
    }
  }
}

}  // namespace

ZOLT_VECTOR_CLONES void ChromaBoost(uint8_t* u, uint8_t* v, int w, int h, int32_t level) {
  if (level < 1 || level > 9) return;
  const int16_t* table = kChromaBoostTables[level - 1];
  const int whole = w - w % kBlock;
  for (int y = 0; y < h; ++y) {
    const int64_t row = static_cast<int64_t>(y) * w;
    BoostRun<false>(u + row, v + row, whole, table);
    BoostRun<true>(u + row + whole, v + row + whole, w - whole, table);
  }
}

}  // namespace zolt
