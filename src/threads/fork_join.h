#pragma once

#include <cstdint>

namespace zolt {

/// What one thread of a fork runs: its own index and the argument that all of them share.
using ForkRoutine = int32_t (*)(void* argument, int32_t index);

struct ForkOptions {
  const char* thread_name = nullptr;  ///< at most 15 characters; null keeps the name of the process
  bool stop_at_failure = false;       ///< true: start no further thread once one could not be started
  /// Called after a failed start and before the join, so that threads that wait for the missing one go on.
  void (*on_start_failure)(void* argument) = nullptr;
};

/// Runs routine(argument, i), i = 0..count-1, on `count` new plain threads (at most 8) and joins all that
/// started. `statuses`, count words or null, receives what each routine returned, 0 for a thread that never
/// started. False when any thread could not be started.
bool ForkJoin(ForkRoutine routine, void* argument, int32_t count, int32_t* statuses,
              const ForkOptions& options = {});

}  // namespace zolt
