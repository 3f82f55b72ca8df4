#pragma once

#include <atomic>

#include "threads/fork_join.h"

namespace zolt {

/// Runs work(i) for i = 0..count-1 on up to `threads` threads (at most 8), each taking the next free i. What
/// work(i) computes must depend on i alone: then the bytes don't depend on threads, timing or processors. If
/// a thread can't start, the others do its part, at last the caller's own.
template <typename Work>
void RunStripes(int threads, int count, const Work& work) {
  struct Shared {
    const Work* work;
    std::atomic<int> next;
    int count;
    void Drain() {
      for (int i; (i = next.fetch_add(1, std::memory_order_relaxed)) < count;) (*work)(i);
    }
  } shared = {&work, {0}, count};
  if (threads > count) threads = count;
  if (threads > 1) {
    const ForkRoutine routine = [](void* argument, int32_t) -> int32_t {
      static_cast<Shared*>(argument)->Drain();
      return 0;
    };
    ForkJoin(routine, &shared, threads < 8 ? threads : 8, nullptr, {"zolt_align", false, nullptr});
  }
  shared.Drain();
}

}  // namespace zolt
