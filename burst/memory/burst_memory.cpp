#include "burst/memory/burst_memory.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "base/alloc_hooks.h"
#include "burst/memory/layer_vector.h"

namespace zolt {
namespace {

constexpr char kPool[] = "burst";
constexpr size_t kAlignment = 64;  // a cache line

/// Stands before each block, at the end of the alignment's gap.
struct BlockHead {
  void* taken;   // what the hook returned
  size_t bytes;  // as asked for
};

// Room for the head, and for moving the start to a multiple of the alignment.
constexpr size_t kOverhead = sizeof(BlockHead) + kAlignment;

BlockHead* HeadOf(void* block) {
  return static_cast<BlockHead*>(block) - 1;
}

BurstMemory* engine_memory = nullptr;
thread_local std::pmr::memory_resource* worker_memory = nullptr;

void* EngineAlloc(uint32_t size, const char*, uint32_t) {
  return engine_memory->Take(size);
}
void EngineFree(void* block, const char*, uint32_t) {
  engine_memory->Give(block);
}
constexpr MfAllocHooks kEngineHooks = {&EngineAlloc, &EngineFree};

}  // namespace

void* BurstMemory::Take(size_t bytes) noexcept {
  const auto same = std::find_if(kept_.begin(), kept_.end(),
                                 [bytes](void* block) { return HeadOf(block)->bytes == bytes; });
  void* block = nullptr;
  if (same != kept_.end()) {
    block = Unkeep(same);
  } else {
    MakeRoom(bytes);
    block = TakeNew(bytes);
    if (block == nullptr && !kept_.empty()) {
      Trim();
      block = TakeNew(bytes);
    }
    if (block == nullptr) return nullptr;
  }
  in_use_ += bytes;
  peak_ = std::max(peak_, in_use_);
  return block;
}

void BurstMemory::Give(void* block) noexcept {
  if (block == nullptr) return;
  in_use_ -= HeadOf(block)->bytes;
  if (!kKeepsBlocks) return GiveBack(block);
  try {
    kept_.push_back(block);
    kept_bytes_ += HeadOf(block)->bytes;
  } catch (const std::bad_alloc&) {
    GiveBack(block);
  }
}

void BurstMemory::ResetPeak() noexcept {
  // Nothing was given back: frames are kept, but no burst has been yet.
  last_peak_ = peak_ > in_use_ ? peak_ : 0;
  peak_ = in_use_;
  MakeRoom(0);
}

void* BurstMemory::Unkeep(std::vector<void*>::iterator place) noexcept {
  void* block = *place;
  kept_bytes_ -= HeadOf(block)->bytes;
  *place = kept_.back();
  kept_.pop_back();
  return block;
}

// The first burst's memory grows, and all goes that it does not need now. Later ones ask for the same big
// blocks again: the smallest goes first, so that a frame's pyramid does not cost the engine's block.
void BurstMemory::MakeRoom(size_t bytes) noexcept {
  const uint64_t bound = std::max(peak_, last_peak_);
  const auto smaller = [](void* a, void* b) { return HeadOf(a)->bytes < HeadOf(b)->bytes; };
  while (!kept_.empty() && in_use_ + kept_bytes_ + bytes > bound) {
    if (last_peak_ == 0) return Trim();
    GiveBack(Unkeep(std::min_element(kept_.begin(), kept_.end(), smaller)));
  }
}

void BurstMemory::Trim() noexcept {
  for (void* block : kept_) GiveBack(block);
  kept_.clear();
  kept_bytes_ = 0;
}

void* BurstMemory::TakeNew(size_t bytes) noexcept {
  if (bytes > UINT32_MAX - kOverhead) return nullptr;
  const auto size = static_cast<uint32_t>(bytes + kOverhead);
  void* taken = hooks_.alloc != nullptr ? hooks_.alloc(size, kPool, 0) : std::malloc(size);
  if (taken == nullptr) return nullptr;
  const auto start = reinterpret_cast<uintptr_t>(taken) + sizeof(BlockHead);
  void* block = reinterpret_cast<void*>((start + kAlignment - 1) / kAlignment * kAlignment);
  *HeadOf(block) = {taken, bytes};
  return block;
}

void BurstMemory::GiveBack(void* block) noexcept {
  void* taken = HeadOf(block)->taken;
  hooks_.free != nullptr ? hooks_.free(taken, kPool, 0) : std::free(taken);
}

void* BurstMemory::do_allocate(size_t bytes, size_t alignment) {
  void* block = alignment <= kAlignment ? Take(bytes) : nullptr;
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

std::pmr::memory_resource* LayerMemory() {
  return worker_memory != nullptr ? worker_memory : engine_memory;
}

void SetWorkerMemory(std::pmr::memory_resource* memory) {
  worker_memory = memory;
}

EngineMemory::EngineMemory(BurstMemory* memory) : before_(engine_memory), hooks_before_(CurrentHooks()) {
  engine_memory = memory;
  ChooseHooks(&kEngineHooks);
}

EngineMemory::~EngineMemory() {
  ChooseHooks(&hooks_before_);
  engine_memory = before_;
}

const MfAllocHooks& EngineMemory::Hooks() {
  return kEngineHooks;
}

}  // namespace zolt
