#include "base/alloc_hooks.h"

#include <cassert>
#include <cstdlib>

namespace zolt {
namespace {

void* DefaultAlloc(uint32_t size, const char*, uint32_t) {
  return std::malloc(size);
}
void DefaultFree(void* block, const char*, uint32_t) {
  std::free(block);
}

constexpr MfAllocHooks kDefaultHooks = {DefaultAlloc, DefaultFree};
MfAllocHooks current_hooks = kDefaultHooks;

constexpr uintptr_t kWord = 4;
constexpr uintptr_t kRecordAlignment = 8;

uint8_t* AlignTo(void* p, uintptr_t alignment) {
  const uintptr_t past = reinterpret_cast<uintptr_t>(p) % alignment;
  return static_cast<uint8_t*>(p) + (past == 0 ? 0 : alignment - past);
}

uint8_t* AlignToWord(void* p) {
  return AlignTo(p, kWord);
}

}  // namespace

const MfAllocHooks& DefaultHooks() {
  return kDefaultHooks;
}
const MfAllocHooks& CurrentHooks() {
  return current_hooks;
}

void ChooseHooks(const MfAllocHooks* hooks) {
  const bool complete = hooks != nullptr && hooks->alloc != nullptr && hooks->free != nullptr;
  current_hooks = complete ? *hooks : kDefaultHooks;
}

void HookBlock::TakeBytes(uint64_t size, const char* pool, const MfAllocHooks& hooks) {
  Release();
  pool_ = pool;
  hooks_ = hooks;
  if (size > UINT32_MAX) return;
  taken_ = static_cast<uint8_t*>(hooks_.alloc(static_cast<uint32_t>(size), pool_, 0));
  data_ = taken_;
}

void HookBlock::Take(uint64_t size, const char* pool, const MfAllocHooks& hooks) {
  TakeBytes(size, pool, hooks);
  if (reinterpret_cast<uintptr_t>(data_) % kRecordAlignment == 0) return;
  TakeBytes(size + kRecordAlignment - 1, pool, hooks);
  if (data_ != nullptr) data_ = AlignTo(data_, kRecordAlignment);
}

void HookBlock::Release() {
  if (taken_ != nullptr) hooks_.free(taken_, pool_, 0);
  taken_ = data_ = nullptr;
}

StageScratch::StageScratch(void* room, uint64_t room_size, uint64_t needed, const char* pool,
                           const MfAllocHooks& hooks) {
  if (room != nullptr) {
    uint8_t* start = AlignToWord(room);
    const uint64_t skipped = static_cast<uint64_t>(start - static_cast<uint8_t*>(room));
    if (skipped + needed <= room_size) {
      begin_ = start;
      return;
    }
  }
  // kWord - 1 more than needed: a hook may return any address.
  block_.TakeBytes(needed + kWord - 1, pool, hooks);
  if (block_) begin_ = AlignToWord(block_.data());
}

uint8_t* RegionCutter::TakeBytes(uint64_t bytes, uint64_t alignment) {
  used_ = (used_ + alignment - 1) / alignment * alignment;
  assert(used_ + bytes <= size_);
  if (used_ + bytes > size_) return nullptr;
  uint8_t* region = begin_ + used_;
  used_ += bytes;
  return region;
}

}  // namespace zolt
