#include "support/test_hooks.h"

#include <cstdlib>
#include <cstring>
#include <map>

namespace zolt::test {
namespace {

std::vector<HookCall> calls;
std::map<void*, void*> blocks;  ///< and what malloc gave for them
int past_alignment = 0;
int refused = -1;
int allocations = 0;

void* Alloc(uint32_t size, const char* pool, uint32_t flags) {
  calls.push_back({size, pool, flags});
  if (allocations++ == refused) return nullptr;
  const auto past = static_cast<size_t>(past_alignment);
  auto* taken = static_cast<uint8_t*>(std::malloc(size + past > 0 ? size + past : 1));
  if (taken == nullptr) return nullptr;
  std::memset(taken, 0xA5, size + past);
  blocks[taken + past] = taken;
  return taken + past;
}

void Free(void* block, const char* pool, uint32_t flags) {
  calls.push_back({0, pool, flags});
  const auto ours = blocks.find(block);
  if (ours == blocks.end()) std::abort();  // freed twice, or never ours
  std::free(ours->second);
  blocks.erase(ours);
}

}  // namespace

void TestHooks::Reset() {
  FreeAll();
  calls.clear();
  refused = -1;
  allocations = 0;
  past_alignment = 0;
}

MfAllocHooks TestHooks::Hooks() {
  return {Alloc, Free};
}

void TestHooks::RefuseAllocation(int k) {
  refused = k < 0 ? -1 : allocations + k;
}

void TestHooks::StartBlocksAt(int past) {
  past_alignment = past;
}

const std::vector<HookCall>& TestHooks::Calls() {
  return calls;
}

int TestHooks::Outstanding() {
  return static_cast<int>(blocks.size());
}

void TestHooks::FreeAll() {
  for (const auto& [block, taken] : blocks) std::free(taken);
  blocks.clear();
}

}  // namespace zolt::test
