#include "base/alloc_hooks.h"

#include <cassert>
#include <cstdlib>
#include <mutex>

#if defined(__GLIBC__) || defined(__ANDROID__)
#include <malloc.h>
#endif

namespace zolt {
namespace {

/// Bytes of a block of malloc that may be used; 0 on a system that does not tell.
size_t UsableSize(void* block) {
#if defined(__GLIBC__) || defined(__ANDROID__)
  return malloc_usable_size(block);
#else
  (void)block;
  return 0;
#endif
}

/// The system's heap takes such blocks from the kernel and gives them back each time, and the kernel clears
/// every page anew. Smaller ones it keeps itself.
constexpr size_t kLeastKept = 4 << 20;
/// More than a burst has of them.
constexpr int kMostKept = 8;

/// The big blocks that wait for the next burst. They are plain blocks of malloc, which knows their size: a
/// block whose session has got other hooks since is given to those.
struct KeptBlocks {
  std::mutex mutex;  // of all below
  int sessions = 0;
  int count = 0;
  void* blocks[kMostKept] = {};

  void Free() {
    while (count > 0) std::free(blocks[--count]);
  }
  /// Null when none has about that size.
  void* Take(size_t size) {
    for (int i = 0; i < count; ++i) {
      const size_t usable = UsableSize(blocks[i]);
      if (usable < size || usable - size > size / 16) continue;
      void* block = blocks[i];
      blocks[i] = blocks[--count];
      return block;
    }
    return nullptr;
  }
};

KeptBlocks kept;

void* DefaultAlloc(uint32_t size, const char*, uint32_t) {
  const std::lock_guard<std::mutex> lock(kept.mutex);
  const bool big = size >= kLeastKept;
  void* block = big ? kept.Take(size) : nullptr;
  if (block != nullptr) return block;
  if (big) kept.Free();
  block = std::malloc(size);
  if (block == nullptr && kept.count > 0) {
    kept.Free();
    block = std::malloc(size);
  }
  return block;
}

void DefaultFree(void* block, const char*, uint32_t) {
  if (kKeepsBlocks && UsableSize(block) >= kLeastKept) {
    const std::lock_guard<std::mutex> lock(kept.mutex);
    if (kept.sessions > 0 && kept.count < kMostKept) {
      kept.blocks[kept.count++] = block;
      return;
    }
  }
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

void SessionOpened() {
  const std::lock_guard<std::mutex> lock(kept.mutex);
  ++kept.sessions;
}

void SessionEnded() {
  const std::lock_guard<std::mutex> lock(kept.mutex);
  if (--kept.sessions == 0) kept.Free();
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
