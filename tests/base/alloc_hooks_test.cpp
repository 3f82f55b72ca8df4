#include "base/alloc_hooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#if __GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 33)
#include <malloc.h>
#endif

#include "support/test_hooks.h"

namespace zolt {
namespace {

// What a block is asked for tells how often the hook was called: 0 is a block that was given back.
TEST(HookBlock, RecordsAreAlignedAndBytesComeAsTheyAre) {
  for (int past = 0; past < 16; ++past) {
    SCOPED_TRACE(past);
    test::TestHooks::Reset();
    test::TestHooks::StartBlocksAt(past);
    std::vector<uint32_t> sizes;
    {
      HookBlock records, bytes;
      records.Take(100, kRegistrationPool, test::TestHooks::Hooks());
      bytes.TakeBytes(100, kDenoisePool, test::TestHooks::Hooks());
      EXPECT_EQ(reinterpret_cast<uintptr_t>(records.data()) % 8, 0u);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(bytes.data()) % 8, static_cast<uintptr_t>(past % 8));
      std::fill_n(records.data(), 100, uint8_t{1});
      for (const test::HookCall& call : test::TestHooks::Calls()) sizes.push_back(call.size);
    }
    EXPECT_EQ(sizes,
              past % 8 == 0 ? std::vector<uint32_t>({100, 100}) : std::vector<uint32_t>({100, 0, 107, 100}));
    EXPECT_EQ(test::TestHooks::Outstanding(), 0);
  }
  test::TestHooks::Reset();
}

#if __GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 33)
// 40 MB: the system's heap never takes such a block from memory of its own.
TEST(DefaultHooks, KeepBigBlocksForTheNextBurstUntilTheLastSessionEnds) {
  if (!kKeepsBlocks) GTEST_SKIP();
  constexpr uint32_t kBig = 40 << 20;
  const auto held = [before = mallinfo2().hblkhd] { return mallinfo2().hblkhd - before; };
  const auto take = [](uint32_t n) { return std::memset(DefaultHooks().alloc(n, kDenoisePool, 0), 1, n); };
  const auto give = [](void* block) { DefaultHooks().free(block, kDenoisePool, 0); };
  void* first = take(kBig);
  if (held() < kBig) {
    give(first);
    GTEST_SKIP() << "another heap in place of the system's, a sanitizer's";
  }
  give(first);
  EXPECT_EQ(held(), 0u) << "no session";
  SessionOpened();
  SessionOpened();
  void* block = take(kBig);
  give(block);
  EXPECT_EQ(take(kBig - 1000), block);
  give(block);
  give(take(2 * kBig));
  EXPECT_LT(held(), 3 * size_t{kBig}) << "kept beside the larger block";
  SessionEnded();
  EXPECT_GT(held(), kBig);
  SessionEnded();
  EXPECT_EQ(held(), 0u);
}
#endif

}  // namespace
}  // namespace zolt
