#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <vector>

#include "zolt_burst.h"
#include "zolt_mfdenoise.h"

namespace zolt {

/// All memory of one burst, the engine's included: comes from the caller's hooks, is counted, and is kept
/// from one burst to the next, since a burst of the same size asks for the same blocks and fresh ones cost
/// the kernel's clearing of every page. With what is in use it is never more than this burst or the one
/// before took at once. Only on the thread that is inside a call of the layer.
class BurstMemory : public std::pmr::memory_resource {
 public:
  explicit BurstMemory(const zolt_burst_hooks& hooks) : hooks_(hooks) {}
  ~BurstMemory() override { Trim(); }
  BurstMemory(const BurstMemory&) = delete;
  BurstMemory& operator=(const BurstMemory&) = delete;

  /// Null when the hooks refuse or `bytes` does not fit their 32 bits; else aligned to 64 bytes.
  void* Take(size_t bytes) noexcept;
  void Give(void* block) noexcept;
  /// Gives back to the hooks what is kept for the next burst.
  void Trim() noexcept;

  /// Bytes in use at most since the last ResetPeak.
  uint64_t peak() const { return peak_; }
  /// Begins a burst: what is kept beyond the needs of the one before is given back.
  void ResetPeak() noexcept;

 private:
  void* do_allocate(size_t bytes, size_t alignment) override;
  void do_deallocate(void* block, size_t, size_t) override { Give(block); }
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }

  void* TakeNew(size_t bytes) noexcept;
  void GiveBack(void* block) noexcept;
  void* Unkeep(std::vector<void*>::iterator place) noexcept;
  void MakeRoom(size_t bytes) noexcept;

  zolt_burst_hooks hooks_;
  std::vector<void*> kept_;
  uint64_t kept_bytes_ = 0;
  uint64_t in_use_ = 0;
  uint64_t peak_ = 0;
  uint64_t last_peak_ = 0;  ///< of the burst before; 0: none
};

/// While it lives, EngineHooks() leads to this memory: the engine's hooks carry no pointer of the caller's.
/// After it the hooks are those of before, which a session of the engine beside the layer may have chosen.
/// Under the layer's lock.
class EngineMemory {
 public:
  explicit EngineMemory(BurstMemory* memory);
  ~EngineMemory();
  EngineMemory(const EngineMemory&) = delete;
  EngineMemory& operator=(const EngineMemory&) = delete;

  static const MfAllocHooks& Hooks();

 private:
  BurstMemory* before_;
  MfAllocHooks hooks_before_;
};

}  // namespace zolt
