#include "ghost/mask_cleaning.h"

#include <gtest/gtest.h>

#include "base/alloc_hooks.h"
#include "base/result_codes.h"
#include "support/log_lines.h"
#include "support/slow_ghost.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

std::vector<uint8_t> BlobMask(int w, int h, uint32_t seed) {
  std::vector<uint8_t> mask(w * h, seed % 2 == 0 ? 0 : 255);
  MultiplyWithCarry random;
  for (uint32_t i = 0; i < seed; ++i) random.Next(2);
  for (int i = 0; i < 6; ++i) {
    const int x0 = static_cast<int>(random.Next(w)), y0 = static_cast<int>(random.Next(h));
    const int side = 1 + static_cast<int>(random.Next(12));
    for (int y = y0; y < std::min(h, y0 + side); ++y) {
      for (int x = x0; x < std::min(w, x0 + side); ++x) mask[y * w + x] ^= 255;
    }
  }
  return mask;
}

TEST(MaskCleaning, ByteFormPackedFormAndWindowsAgreeAtEveryWidth) {
  for (int w = 1; w <= 70; ++w) {
    const int h = 5 + w % 29;
    for (uint32_t seed = 0; seed < 6; ++seed) {
      const std::vector<uint8_t> mask = BlobMask(w, h, seed);
      std::vector<uint32_t> bits(CleaningWords(w, h));
      std::vector<uint8_t> bytes = mask, packed = mask;
      ASSERT_EQ(CleanLumaMaskBytes(bytes.data(), w, h), kOk);
      CleanLumaMask(packed.data(), w, h, bits.data());
      ASSERT_EQ(bytes, packed) << "luma " << w << "x" << h;
      ASSERT_EQ(bytes, test::SlowMorphology(test::SlowMorphology(mask, w, h, 7, true), w, h, 3, false));

      bytes = packed = mask;
      ASSERT_EQ(CleanChromaMaskBytes(bytes.data(), w, h), kOk);
      CleanChromaMask(packed.data(), w, h, bits.data());
      ASSERT_EQ(bytes, packed) << "chroma " << w << "x" << h;
      ASSERT_EQ(bytes, test::SlowMorphology(test::SlowMorphology(mask, w, h, 3, false), w, h, 7, true));
    }
  }
}

TEST(MaskCleaning, ARefusedCopyIsLoggedAndReturnedAndNothingIsHeld) {
  test::TestHooks::Reset();
  const MfAllocHooks hooks = test::TestHooks::Hooks();
  ChooseHooks(&hooks);
  const std::vector<uint8_t> mask = BlobMask(30, 20, 4);
  for (int k = 0; k < 2; ++k) {
    for (const auto clean : {CleanLumaMaskBytes, CleanChromaMaskBytes}) {
      std::vector<uint8_t> work = mask;
      test::TakeLogLines();
      test::TestHooks::RefuseAllocation(k);
      EXPECT_EQ(clean(work.data(), 30, 20), kNoMemory);
      EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "Memery Allocating Error!"));
      EXPECT_EQ(test::TestHooks::Outstanding(), 0);
    }
  }
  EXPECT_EQ(test::TestHooks::Calls().front().size, 600u);
  test::TestHooks::Reset();
  ChooseHooks(nullptr);
}

}  // namespace
}  // namespace zolt
