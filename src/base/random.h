#pragma once

#include <cstdint>

namespace zolt {

/// Multiply-with-carry generator (Marsaglia) with a fixed seed: equal inputs draw equal numbers on every
/// platform.
class MultiplyWithCarry {
 public:
  /// Uniform enough in [0, bound), bound > 0: the low word modulo the bound.
  uint32_t Next(uint32_t bound) {
    state_ = (state_ & 0xFFFFFFFFu) * 4164903690u + (state_ >> 32);
    return static_cast<uint32_t>(state_) % bound;
  }

 private:
  uint64_t state_ = ~uint64_t{0};
};

}  // namespace zolt
