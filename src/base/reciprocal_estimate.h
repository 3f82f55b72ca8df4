#pragma once

#include <bit>
#include <cstdint>

namespace zolt {

/// The processor's single-precision reciprocal estimate (FRECPE / VRECPE), about 8 bits of accuracy, computed
/// in integers so that every platform gives the ARM instruction's bits. For positive normal v up to 2^126.
constexpr float ReciprocalEstimate(float v) {
  const uint32_t bits = std::bit_cast<uint32_t>(v);
  const uint32_t exponent = (bits >> 23) & 255;
  const uint32_t a = 2 * (256 | ((bits >> 15) & 255)) + 1;
  const uint32_t b = (1u << 19) / a;
  const uint32_t r = (b + 1) / 2;
  return std::bit_cast<float>((bits & 0x80000000u) | ((253 - exponent) << 23) | ((r & 255) << 15));
}

}  // namespace zolt
