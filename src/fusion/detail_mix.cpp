#include "fusion/detail_mix.h"

#include "base/arithmetic.h"
#include "base/vector_clones.h"

namespace zolt {

ZOLT_VECTOR_CLONES void WeightedMix(uint8_t* plane, const uint8_t* other, const uint8_t* weight,
                                    int64_t count, int shift) {
  const auto full = static_cast<uint8_t>((1 << shift) - 1);
  const auto half = static_cast<uint16_t>(1 << (shift - 1));
  uint8_t* __restrict out = plane;
  for (int64_t i = 0; i < count; ++i) {
    const auto rest = static_cast<uint8_t>(full - weight[i]);
    const auto sum = static_cast<uint16_t>(out[i] * weight[i] + other[i] * rest + half);
    out[i] = static_cast<uint8_t>(sum >> shift);
  }
}

ZOLT_VECTOR_CLONES void DetailAdd(uint8_t* plane, const uint8_t* original, const uint8_t* doubled,
                                  const uint8_t* edge, const uint8_t* weight, int64_t count,
                                  const DetailGains& gains) {
  uint8_t* __restrict out = plane;
  const int shift = gains.shift + 1;
  for (int64_t i = 0; i < count; ++i) {
    const int rise = edge[i] > 10 ? edge[i] - 10 : 0;
    const int gain = rise > 63 ? 255 : 128 + 2 * rise;
    const auto d = static_cast<int16_t>(static_cast<int16_t>((original[i] - doubled[i]) * gains.base) >> 1);
    const auto t = static_cast<int16_t>(static_cast<int16_t>(gain * weight[i]) >> 7);
    const auto boosted = static_cast<int16_t>(static_cast<int16_t>(d * gains.boost) * t);
    out[i] = SaturateU8(out[i] + d + (boosted >> shift));
  }
}

void ChromaMix(uint8_t* plane, const uint8_t* other, const uint8_t* mask, int64_t count) {
  uint8_t* __restrict out = plane;
  const int64_t whole = count & ~int64_t{15};
  for (int64_t i = 0; i < whole; ++i) {
    const auto m = static_cast<uint8_t>(mask[i] == 0 ? 0 : mask[i] == 1 ? 128 : 255);
    const auto mean = static_cast<uint8_t>(RoundingHalf(out[i], other[i]));
    out[i] = static_cast<uint8_t>((out[i] & m) | (mean & ~m));
  }
}

}  // namespace zolt
