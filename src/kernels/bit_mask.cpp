#include "kernels/bit_mask.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace zolt {
namespace {

// Eight pixels travel as one little-endian 64-bit word, column 0 in the low byte.
static_assert(std::endian::native == std::endian::little);

constexpr uint64_t kLowBits = 0x0101010101010101u;
constexpr uint64_t kSevenBits = 0x7F7F7F7F7F7F7F7Fu;

/// Bit 0 of every byte that is not zero.
uint64_t NonzeroBytes(uint64_t v) {
  return ((((v & kSevenBits) + kSevenBits) | v) >> 7) & kLowBits;
}

uint32_t PackEight(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  // The product moves bit 8 i to bit 56 + i; no two of its terms meet, so nothing carries.
  return static_cast<uint32_t>((NonzeroBytes(v) * 0x0102040810204080u) >> 56);
}

void UnpackEight(uint32_t eight_bits, uint8_t* p) {
  const uint64_t spread = (eight_bits * kLowBits) & 0x8040201008040201u;
  const uint64_t v = NonzeroBytes(spread) * 255;
  std::memcpy(p, &v, sizeof v);
}

uint32_t PackWord(const uint8_t* p) {
  return PackEight(p) | PackEight(p + 8) << 8 | PackEight(p + 16) << 16 | PackEight(p + 24) << 24;
}

void UnpackWord(uint32_t word, uint8_t* p) {
  for (int i = 0; i < 4; ++i) UnpackEight((word >> (8 * i)) & 255, p + 8 * i);
}

/// The bits of a row's last word that are pixels.
uint32_t LastWordMask(int w) {
  return (w & 31) == 0 ? ~0u : (1u << (w & 31)) - 1;
}

/// One word and its neighbours' bits within reach, smeared `Radius` columns both ways.
template <int Radius>
uint32_t SmearWord(uint32_t left, uint32_t word, uint32_t right) {
  static_assert(Radius == 3 || Radius == 7);
  // Radius bits of the left neighbour, the word, Radius bits of the right one: at most 46 bits.
  uint64_t v = left >> (32 - Radius) | static_cast<uint64_t>(word) << Radius |
               static_cast<uint64_t>(right & ((1u << Radius) - 1)) << (32 + Radius);
  v |= v >> 1;
  v |= v >> 2;                   // 0 to 3 columns
  if (Radius == 7) v |= v >> 4;  // 0 to 7 columns
  v |= v >> Radius;              // 0 to 2 * Radius columns
  return static_cast<uint32_t>(v);
}

template <int Radius>
void SmearRow(const uint32_t* __restrict in, uint32_t* __restrict out, int words) {
  if (words == 1) {
    out[0] = SmearWord<Radius>(0, in[0], 0);
    return;
  }
  out[0] = SmearWord<Radius>(0, in[0], in[1]);
  for (int i = 1; i < words - 1; ++i) out[i] = SmearWord<Radius>(in[i - 1], in[i], in[i + 1]);
  out[words - 1] = SmearWord<Radius>(in[words - 2], in[words - 1], 0);
}

void ComplementBits(uint32_t* bits, int w, int h) {
  const int words = BitMaskWords(w);
  const uint32_t last = LastWordMask(w);
  for (int r = 0; r < h; ++r, bits += words) {
    for (int i = 0; i < words; ++i) bits[i] = ~bits[i];
    bits[words - 1] &= last;
  }
}

}  // namespace

void PackBitMask(const uint8_t* plane, int w, int h, uint32_t* bits) {
  const int whole = w / 32, rest = w % 32;
  for (int r = 0; r < h; ++r, plane += w) {
    for (int i = 0; i < whole; ++i) *bits++ = PackWord(plane + 32 * i);
    if (rest == 0) continue;
    uint8_t tail[32] = {};
    std::memcpy(tail, plane + 32 * whole, static_cast<size_t>(rest));
    *bits++ = PackWord(tail);
  }
}

void UnpackBitMask(const uint32_t* bits, int w, int h, uint8_t* plane) {
  const int whole = w / 32, rest = w % 32;
  for (int r = 0; r < h; ++r, plane += w) {
    for (int i = 0; i < whole; ++i) UnpackWord(*bits++, plane + 32 * i);
    if (rest == 0) continue;
    uint8_t tail[32];
    UnpackWord(*bits++, tail);
    std::memcpy(plane + 32 * whole, tail, static_cast<size_t>(rest));
  }
}

template <int Radius>
void DilateBitMask(uint32_t* bits, uint32_t* other, int w, int h) {
  const int words = BitMaskWords(w);
  const uint32_t last = LastWordMask(w);
  for (int r = 0; r < h; ++r) {
    uint32_t* smeared = other + static_cast<ptrdiff_t>(r) * words;
    SmearRow<Radius>(bits + static_cast<ptrdiff_t>(r) * words, smeared, words);
    smeared[words - 1] &= last;
  }
  for (int r = 0; r < h; ++r) {
    uint32_t* __restrict out = bits + static_cast<ptrdiff_t>(r) * words;
    const int first = std::max(r - Radius, 0), end = std::min(r + Radius + 1, h);
    std::memcpy(out, other + static_cast<ptrdiff_t>(first) * words, static_cast<size_t>(words) * 4);
    for (int k = first + 1; k < end; ++k) {
      const uint32_t* __restrict row = other + static_cast<ptrdiff_t>(k) * words;
      for (int i = 0; i < words; ++i) out[i] |= row[i];
    }
  }
}

// What the frame loses is what its complement gains; outside the frame the complement has nothing to give.
template <int Radius>
void ErodeBitMask(uint32_t* bits, uint32_t* other, int w, int h) {
  ComplementBits(bits, w, h);
  DilateBitMask<Radius>(bits, other, w, h);
  ComplementBits(bits, w, h);
}

template void DilateBitMask<3>(uint32_t*, uint32_t*, int, int);
template void DilateBitMask<7>(uint32_t*, uint32_t*, int, int);
template void ErodeBitMask<3>(uint32_t*, uint32_t*, int, int);

}  // namespace zolt
