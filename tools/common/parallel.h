#pragma once

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace zolt {

/// Processors that this process may use: an affinity set by taskset or a batch system counts.
inline int UsableProcessors() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) == 0) return std::max(1, CPU_COUNT(&set));
  return static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
}

/// Calls work(i) once for each i in [0, n), on as many threads as there are processors to use. Which thread
/// takes which i is open. After an exception no new i is begun; the first one is thrown again here.
template <typename Work>
void ParallelFor(int n, const Work& work) {
  std::atomic<int> next{0};
  std::exception_ptr failure;
  std::mutex failure_mutex;
  const auto run = [&] {
    for (int i = next++; i < n; i = next++) {
      try {
        work(i);
      } catch (...) {
        const std::lock_guard<std::mutex> lock(failure_mutex);
        if (!failure) failure = std::current_exception();
        next = n;
      }
    }
  };
  std::vector<std::thread> helpers;
  const int count = std::min(n, UsableProcessors()) - 1;
  for (int i = 0; i < count; ++i) {
    try {
      helpers.emplace_back(run);
    } catch (const std::system_error&) {
      break;  // the threads that did start, and this one, do all of the work
    }
  }
  run();
  for (std::thread& helper : helpers) helper.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace zolt
