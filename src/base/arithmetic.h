#pragma once

#include <cstdint>
#include <limits>

namespace zolt {

/// Rounding half, exact in any width that holds a + b + 1.
constexpr int RoundingHalf(int a, int b) {
  return (a + b + 1) >> 1;
}

constexpr uint8_t SaturateU8(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

constexpr int16_t SaturateS16(int32_t v) {
  return static_cast<int16_t>(v < -32768 ? -32768 : v > 32767 ? 32767 : v);
}

/// Arithmetic modulo 2^32 on signed words, where a kernel's definition lets sums and products wrap.
constexpr int32_t WrapAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t WrapSub(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
constexpr int32_t WrapMul(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

/// Float to integer as the ARM instruction does it: truncates, saturates, and not-a-number, which fails every
/// comparison, gives 0.
template <typename Float>
constexpr int32_t TruncateToI32(Float v) {
  constexpr auto kLimit = static_cast<Float>(2147483648.0);
  if (v > -kLimit && v < kLimit) return static_cast<int32_t>(v);
  if (v >= kLimit) return std::numeric_limits<int32_t>::max();
  return v <= -kLimit ? std::numeric_limits<int32_t>::min() : 0;
}

/// Median of three by the branch-free network that vector units like.
template <typename T>
constexpr T Median3(T a, T b, T c) {
  const T low = a < b ? a : b;
  const T high = a < b ? b : a;
  const T clipped = high < c ? high : c;
  return clipped > low ? clipped : low;
}

template <typename T>
constexpr T Clamp(T v, T low, T high) {
  return v < low ? low : v > high ? high : v;
}

}  // namespace zolt
