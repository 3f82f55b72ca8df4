#pragma once

#include <cstddef>
#include <cstdint>

#include "zolt_mfdenoise.h"

namespace zolt {

/// Pool names that the hooks are called with.
inline constexpr char kDenoisePool[] = "mfdenoise";
inline constexpr char kRegistrationPool[] = "surf_reg";

/// Whether blocks that were given back are kept for the next burst. Not where a sanitizer looks for reads of
/// what was never written or was given back.
#if !defined(__has_feature)
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
inline constexpr bool kKeepsBlocks = false;
#else
inline constexpr bool kKeepsBlocks = true;
#endif

/// malloc and free under the hooks' signatures. While a session is open, blocks of 4 MB and more that were
/// given back wait for the next burst; such a block that none of them serves frees them all first, so that
/// never more is held than a burst takes at once. What `alloc` returns, plain `free` may end.
const MfAllocHooks& DefaultHooks();

/// What is kept is freed when the last session ends.
void SessionOpened();
void SessionEnded();

/// The pair of the latest session, process-wide. Choose takes the defaults when `hooks` or either pointer is
/// null.
const MfAllocHooks& CurrentHooks();
void ChooseHooks(const MfAllocHooks* hooks);

/// A block from a pair of hooks that is given back when it goes out of scope. Only on the caller's thread. A
/// refusal, or a size that does not fit the hook's 32 bits, leaves it empty.
class HookBlock {
 public:
  HookBlock() = default;
  /// Takes at once.
  HookBlock(uint64_t size, const char* pool, const MfAllocHooks& hooks = CurrentHooks()) {
    Take(size, pool, hooks);
  }
  ~HookBlock() { Release(); }
  HookBlock(const HookBlock&) = delete;
  HookBlock& operator=(const HookBlock&) = delete;

  explicit operator bool() const { return data_ != nullptr; }
  uint8_t* data() const { return data_; }
  /// For records: data() is aligned to 8 bytes. A hook whose block starts elsewhere gets it back and is asked
  /// for 7 bytes more.
  void Take(uint64_t size, const char* pool, const MfAllocHooks& hooks);
  /// For bytes: one call, and the block serves as it comes, whatever its address.
  void TakeBytes(uint64_t size, const char* pool, const MfAllocHooks& hooks = CurrentHooks());
  void Release();
  /// Leaves the block to the hooks' owner: it is not given back.
  void Abandon() { taken_ = data_ = nullptr; }

 private:
  uint8_t* taken_ = nullptr;  ///< what the hook returned
  uint8_t* data_ = nullptr;
  const char* pool_ = nullptr;
  MfAllocHooks hooks_ = {};
};

/// A HookBlock of bytes.
class ByteBlock : public HookBlock {
 public:
  ByteBlock(uint64_t size, const char* pool) { TakeBytes(size, pool); }
};

/// Working memory for one call of a stage: the room that the burst's block gives it if `needed` bytes fit
/// there, otherwise a block through the hooks for as long as this object lives. The start is aligned to 4
/// bytes; an odd start of the room costs up to 3 of its bytes.
class StageScratch {
 public:
  StageScratch(void* room, uint64_t room_size, uint64_t needed, const char* pool,
               const MfAllocHooks& hooks = CurrentHooks());
  /// False when the room was too small and the hook refused: the stage's -1000.
  explicit operator bool() const { return begin_ != nullptr; }
  uint8_t* data() const { return begin_; }

 private:
  HookBlock block_;
  uint8_t* begin_ = nullptr;
};

/// Cuts typed regions one behind the other out of a block; asserts that the block holds them.
class RegionCutter {
 public:
  RegionCutter(uint8_t* begin, uint64_t size) : begin_(begin), size_(size) {}
  /// `count` elements of T at T's own alignment. Null only if the block is too small, which is a fault of the
  /// plan.
  template <typename T>
  T* Take(uint64_t count) {
    return reinterpret_cast<T*>(TakeBytes(count * sizeof(T), alignof(T)));
  }
  uint64_t used() const { return used_; }

 private:
  uint8_t* TakeBytes(uint64_t bytes, uint64_t alignment);
  uint8_t* begin_;
  uint64_t size_;
  uint64_t used_ = 0;
};

}  // namespace zolt
