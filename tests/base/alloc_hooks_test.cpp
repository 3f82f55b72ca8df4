#include "base/alloc_hooks.h"

#include <gtest/gtest.h>

#include <algorithm>

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

}  // namespace
}  // namespace zolt
