#include "support/test_hooks.h"

#include <cstdlib>
#include <cstring>
#include <map>

namespace zolt::test {
namespace {

std::vector<HookCall> calls;
std::map<void*, uint32_t> blocks;
int refused = -1;
int allocations = 0;

void* Alloc(uint32_t size, const char* pool, uint32_t flags) {
  calls.push_back({size, pool, flags});
  if (allocations++ == refused) return nullptr;
  void* block = std::malloc(size > 0 ? size : 1);
  if (block == nullptr) return nullptr;
  std::memset(block, 0xA5, size);
  blocks[block] = size;
  return block;
}

void Free(void* block, const char* pool, uint32_t flags) {
  calls.push_back({0, pool, flags});
  if (blocks.erase(block) == 0) std::abort();  // freed twice, or never ours
  std::free(block);
}

}  // namespace

void TestHooks::Reset() {
  FreeAll();
  calls.clear();
  refused = -1;
  allocations = 0;
}

MfAllocHooks TestHooks::Hooks() {
  return {Alloc, Free};
}

void TestHooks::RefuseAllocation(int k) {
  refused = k < 0 ? -1 : allocations + k;
}

const std::vector<HookCall>& TestHooks::Calls() {
  return calls;
}

int TestHooks::Outstanding() {
  return static_cast<int>(blocks.size());
}

void TestHooks::FreeAll() {
  for (const auto& [block, size] : blocks) std::free(block);
  blocks.clear();
}

}  // namespace zolt::test
