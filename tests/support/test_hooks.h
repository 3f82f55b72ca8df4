#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zolt_mfdenoise.h"

namespace zolt::test {

/// One call of a hook, in order; `size` 0 marks a free.
struct HookCall {
  uint32_t size;
  std::string pool;
  uint32_t flags;
};

/// Allocator hooks that record their calls, refuse the k-th allocation, hand out blocks of exactly the size
/// asked for (so that the address sanitizer sees an overrun) filled with a byte that no plane would hold by
/// chance, and know what has not been given back. Process-wide; Reset starts a test.
struct TestHooks {
  static void Reset();
  static MfAllocHooks Hooks();
  static void RefuseAllocation(int k);  ///< 0 is the next; below 0 none
  static void StartBlocksAt(int past);  ///< that many bytes behind a multiple of 16 from now on
  static const std::vector<HookCall>& Calls();
  static int Outstanding();  ///< blocks not given back
  static void FreeAll();     ///< gives back what is outstanding, for tests of what leaks by design
};

}  // namespace zolt::test
