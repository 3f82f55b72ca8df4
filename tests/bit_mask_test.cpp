#include "kernels/bit_mask.h"

#include <gtest/gtest.h>

#include "support/slow_ghost.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

/// Runs `operation` on the packed mask, with both bit planes on the heap at their exact size.
template <typename Operation>
std::vector<uint8_t> Packed(const std::vector<uint8_t>& mask, int w, int h, Operation operation) {
  std::vector<uint32_t> bits(BitMaskPlaneWords(w, h), 0xDEADBEEF), other = bits;
  PackBitMask(mask.data(), w, h, bits.data());
  operation(bits.data(), other.data(), w, h);
  std::vector<uint8_t> out(mask.size(), 0x55);
  UnpackBitMask(bits.data(), w, h, out.data());
  return out;
}

/// `one_in` pixels carry a set one, of any nonzero value; 0 clears the plane.
std::vector<uint8_t> SparseMask(int w, int h, int one_in) {
  std::vector<uint8_t> mask = test::RandomPlane<uint8_t>(w * h, 256);
  const std::vector<uint8_t> choice = test::RandomPlane<uint8_t>(w * h + 5, std::max(one_in, 1));
  for (int i = 0; i < w * h; ++i) {
    if (one_in == 0 || choice[i + 5] != 0) mask[i] = 0;
  }
  return mask;
}

TEST(BitMask, PackingKeepsEveryPixelAndClearsThePadding) {
  for (int w = 1; w <= 70; ++w) {
    const std::vector<uint8_t> mask = SparseMask(w, 3, 2);
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

TEST(BitMask, MorphologyEqualsTheWindowForm) {
  for (int w = 1; w <= 140; w += w < 70 ? 1 : 23) {
    for (const int h : {1, 4, 9, 20}) {
      for (const int one_in : {0, 1, 2, 40, 150}) {
        std::vector<uint8_t> mask = SparseMask(w, h, one_in);
        ASSERT_EQ(Packed(mask, w, h, DilateBitMask<3>), test::SlowMorphology(mask, w, h, 3, true))
            << w << "x" << h;
        ASSERT_EQ(Packed(mask, w, h, DilateBitMask<7>), test::SlowMorphology(mask, w, h, 7, true))
            << w << "x" << h;
        for (uint8_t& v : mask) v = v == 0 ? 255 : 0;  // mostly set, so that something survives
        ASSERT_EQ(Packed(mask, w, h, ErodeBitMask<3>), test::SlowMorphology(mask, w, h, 3, false))
            << w << "x" << h;
      }
    }
  }
}

}  // namespace
}  // namespace zolt
