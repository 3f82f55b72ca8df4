#pragma once

#include <cstdint>

namespace zolt {

/// Random bits by position instead of by order: the finaliser of SplitMix64 (Steele, Lea, Flood 2014) over
/// seed, stream and index. Integers only, so every platform and every number of threads draws the same
/// numbers.
inline uint64_t MixBits(uint64_t z) {
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

inline uint64_t HashBits(uint64_t seed, uint64_t stream, uint64_t index) {
  const uint64_t golden = 0x9e3779b97f4a7c15u;
  return MixBits(MixBits(seed * golden + stream + 1) + (index + 1) * golden);
}

/// Uniform in [0, 1), a multiple of 2^-53.
inline double HashUniform(uint64_t seed, uint64_t stream, uint64_t index) {
  return static_cast<double>(HashBits(seed, stream, index) >> 11) * (1.0 / 9007199254740992.0);
}

/// Mean 0, variance 1, within +-4.9: the sum of eight uniform 16-bit numbers (Irwin-Hall), exact in integers.
inline float HashNormal(uint64_t seed, uint64_t stream, uint64_t index) {
  const uint64_t first = HashBits(seed, stream, 2 * index);
  const uint64_t second = HashBits(seed, stream, 2 * index + 1);
  int32_t sum = 0;
  for (int shift = 0; shift < 64; shift += 16) {
    sum += static_cast<int32_t>((first >> shift) & 0xffff) + static_cast<int32_t>((second >> shift) & 0xffff);
  }
  // Eight times the mean 32767.5, and sqrt(8 / 12) x 65536 as the standard deviation.
  return static_cast<float>(sum - 262140) * 1.8688e-5f;
}

}  // namespace zolt
