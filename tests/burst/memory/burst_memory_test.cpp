#include "burst/memory/burst_memory.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/alloc_hooks.h"

namespace zolt {
namespace {

uint64_t held, most_held, asked;

const zolt_burst_hooks kCounted = {[](uint32_t size, const char*, uint32_t) {
                                     asked += size;
                                     most_held = std::max(most_held, held += size);
                                     auto* head = static_cast<uint64_t*>(std::malloc(size + 16));
                                     *head = size;
                                     return static_cast<void*>(head + 2);
                                   },
                                   [](void* block, const char*, uint32_t) {
                                     held -= static_cast<uint64_t*>(block)[-2];
                                     std::free(static_cast<uint64_t*>(block) - 2);
                                   }};

/// A pyramid that goes before the engine's block comes, and a list that is longer in one burst than another.
uint64_t AskedBy(BurstMemory* memory, size_t scale, size_t listed) {
  asked = 0;
  memory->ResetPeak();
  memory->Give(memory->Take(600 * scale));
  void* blocks[] = {memory->Take(listed), memory->Take(12000 * scale), memory->Take(1800 * scale)};
  for (void* block : blocks) memory->Give(block);
  return asked;
}

TEST(BurstMemory, LaterBurstsTakeLittleAndNoneHoldsMoreThanTheFirst) {
  if (!kKeepsBlocks) GTEST_SKIP();
  BurstMemory memory(kCounted);
  AskedBy(&memory, 1000, 5000);
  const uint64_t first = most_held;
  for (size_t burst = 1; burst < 4; ++burst) EXPECT_LT(AskedBy(&memory, 1000, 5000 - burst), 3'000'000u);
  EXPECT_EQ(most_held, first);
  for (int burst = 0; burst < 2; ++burst) AskedBy(&memory, 10, 5000);
  EXPECT_LT(held, first / 50) << "what larger bursts needed";
}

}  // namespace
}  // namespace zolt
