#pragma once

#include <pthread.h>

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

/// One thread of a fork, for as long as the fork lasts.
struct ForkThread {
  pthread_t handle;
  ForkRoutine routine;
  void* argument;
  int32_t index;
  int32_t status;
  bool started;
};

/// Runs routine(argument, i), i = 0..count-1, on `count` new plain threads and joins all that started.
/// `statuses`, count words or null, receives what each routine returned, 0 for a thread that never started.
/// False when any thread could not be started, and for more than 8, of which none is.
bool ForkJoin(ForkRoutine routine, void* argument, int32_t count, int32_t* statuses,
              const ForkOptions& options = {});

/// ForkJoin of any `count`, with records that the caller brings: `count` of them, any content.
bool ForkJoinWith(ForkThread* threads, ForkRoutine routine, void* argument, int32_t count, int32_t* statuses,
                  const ForkOptions& options);

}  // namespace zolt
