#include "kernels/bit_mask.h"

#include <gtest/gtest.h>

#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(BitMask, PackingKeepsEveryPixelAndClearsThePadding) {
  for (int w = 1; w <= 70; ++w) {
    const std::vector<uint8_t> mask = test::RandomPlane<uint8_t>(w * 3, 3);
    std::vector<uint32_t> bits(BitMaskPlaneWords(w, 3), ~0u);
    PackBitMask(mask.data(), w, 3, bits.data());
    const auto words = static_cast<size_t>(BitMaskWords(w));
    for (size_t r = 0; r < 3; ++r) {
      for (size_t x = 0; x < 32 * words; ++x) {
        const bool set = x < static_cast<size_t>(w) && mask[r * w + x] != 0;
        ASSERT_EQ(bits[r * words + x / 32] >> (x % 32) & 1, set) << w << " column " << x;
      }
    }
  }
}

}  // namespace
}  // namespace zolt
