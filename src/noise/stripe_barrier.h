#pragma once

#include <atomic>
#include <cstdint>

namespace zolt {

/// Where the stripes of a stage wait until all of them have read what any of them will overwrite. Used once.
/// What a stripe did before Arrive is visible to every stripe whose Wait returned true.
class StripeBarrier {
 public:
  explicit StripeBarrier(int32_t stripes) : missing_(stripes) {}
  StripeBarrier(const StripeBarrier&) = delete;
  StripeBarrier& operator=(const StripeBarrier&) = delete;

  /// This stripe has read its share. Each stripe calls it once, also one that failed.
  void Arrive() {
    if (missing_.fetch_sub(1, std::memory_order_acq_rel) == 1) missing_.notify_all();
  }

  /// Waits for the rest. False when the barrier was called off: some stripe never came, and nobody may
  /// overwrite anything.
  bool Wait() {
    int32_t missing = missing_.load(std::memory_order_acquire);
    while (missing > 0) {
      missing_.wait(missing, std::memory_order_acquire);
      missing = missing_.load(std::memory_order_acquire);
    }
    return missing == 0;
  }

  /// A stripe could not be started: lets all waiting and coming stripes go on. Never on a full barrier.
  void CallOff() {
    missing_.store(kCalledOff, std::memory_order_release);
    missing_.notify_all();
  }

 private:
  // Low enough that late arrivals keep it below 0.
  static constexpr int32_t kCalledOff = -1000;
  std::atomic<int32_t> missing_;
};

}  // namespace zolt
