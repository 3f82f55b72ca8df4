#pragma once

#include <cstdint>

namespace zolt {

/// Three u8 planes that belong together: Y, U, V with chroma at half the size, or B, G, R at one size.
struct PlaneSet {
  uint8_t* plane[3];
};

}  // namespace zolt
