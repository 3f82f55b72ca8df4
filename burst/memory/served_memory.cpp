#include "burst/memory/served_memory.h"

#include <algorithm>
#include <bit>
#include <new>

#include "burst/memory/burst_memory.h"
#include "burst/memory/layer_vector.h"

namespace zolt {
namespace {

constexpr size_t kHead = 64;  // a cache line: what follows stays aligned
constexpr size_t kLeast = 256;
constexpr size_t kPiece = 512 << 10;

/// An eighth of its power of two is little waste, and most sizes are met again.
size_t RoundedUp(size_t bytes) {
  if (bytes < kLeast) return kLeast;
  const size_t step = std::max(std::bit_floor(bytes) / 8, kHead);
  return (bytes + step - 1) / step * step;
}

}  // namespace

ServedMemory::~ServedMemory() {
  for (const Taken& t : taken_) from_->deallocate(t.block, t.bytes, kHead);
}

void ServedMemory::Expect() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++workers_;
}

void ServedMemory::Forget() {
  const std::lock_guard<std::mutex> lock(mutex_);
  --workers_;
  changed_.notify_all();
}

void ServedMemory::Serve() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return workers_ == 0 || (wanted_ > 0 && !answered_); });
    if (workers_ == 0) return;
    answer_ = nullptr;
    try {
      taken_.reserve(taken_.size() + 1);
      answer_ = from_->allocate(wanted_, kHead);
      taken_.push_back({answer_, wanted_});
    } catch (const std::bad_alloc&) {  // null tells it
    }
    answered_ = true;
    changed_.notify_all();
  }
}

void* ServedMemory::Ask(size_t bytes) {
  const std::lock_guard<std::mutex> in_turn(asking_);
  std::unique_lock<std::mutex> lock(mutex_);
  wanted_ = bytes;
  answered_ = false;
  changed_.notify_all();
  changed_.wait(lock, [&] { return answered_; });
  wanted_ = 0;
  return answer_;
}

ServedMemory::Worker::Worker(ServedMemory* served) : served_(served) {
  if (served_->from_ != nullptr) SetWorkerMemory(this);
}

ServedMemory::Worker::~Worker() {
  SetWorkerMemory(nullptr);
  served_->Forget();
}

void* ServedMemory::Worker::do_allocate(size_t bytes, size_t alignment) {
  const size_t size = RoundedUp(bytes);
  for (Block** at = &free_; *at != nullptr; at = &(*at)->next) {
    if ((*at)->bytes != size) continue;
    Block* found = *at;
    *at = found->next;
    return reinterpret_cast<std::byte*>(found) + kHead;
  }
  std::byte* block = alignment <= kHead ? Cut(size + kHead) : nullptr;
  if (block == nullptr) throw std::bad_alloc();
  new (block) Block{nullptr, size};
  return block + kHead;
}

// Small blocks come from a piece: asking takes longer than most of them are needed.
std::byte* ServedMemory::Worker::Cut(size_t bytes) {
  if (bytes > kPiece / 8) return static_cast<std::byte*>(served_->Ask(bytes));
  if (bytes > left_) {
    piece_ = static_cast<std::byte*>(served_->Ask(kPiece));
    left_ = piece_ != nullptr ? kPiece : 0;
    if (piece_ == nullptr) return nullptr;
  }
  std::byte* block = piece_;
  piece_ += bytes;
  left_ -= bytes;
  return block;
}

void ServedMemory::Worker::do_deallocate(void* block, size_t, size_t) {
  auto* head = reinterpret_cast<Block*>(static_cast<std::byte*>(block) - kHead);
  head->next = free_;
  free_ = head;
}

}  // namespace zolt
