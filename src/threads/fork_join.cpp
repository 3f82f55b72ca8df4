#include "threads/fork_join.h"

#include <algorithm>

namespace zolt {
namespace {

constexpr int32_t kMaxThreads = 8;

void* RunThread(void* argument) {
  auto* thread = static_cast<ForkThread*>(argument);
  thread->status = thread->routine(thread->argument, thread->index);
  return nullptr;
}

}  // namespace

bool ForkJoin(ForkRoutine routine, void* argument, int32_t count, int32_t* statuses,
              const ForkOptions& options) {
  ForkThread threads[kMaxThreads];
  if (count <= kMaxThreads) return ForkJoinWith(threads, routine, argument, count, statuses, options);
  if (statuses != nullptr) std::fill_n(statuses, count, 0);
  if (options.on_start_failure != nullptr) options.on_start_failure(argument);
  return false;
}

bool ForkJoinWith(ForkThread* threads, ForkRoutine routine, void* argument, int32_t count, int32_t* statuses,
                  const ForkOptions& options) {
  bool all_started = true;
  for (int32_t i = 0; i < count; ++i) {
    ForkThread& thread = threads[i];
    thread = {{}, routine, argument, i, 0, false};
    if (!all_started && options.stop_at_failure) continue;
    thread.started = pthread_create(&thread.handle, nullptr, RunThread, &thread) == 0;
    all_started = all_started && thread.started;
    if (thread.started && options.thread_name != nullptr) {
      pthread_setname_np(thread.handle, options.thread_name);
    }
  }
  if (!all_started && options.on_start_failure != nullptr) options.on_start_failure(argument);
  for (int32_t i = 0; i < count; ++i) {
    if (threads[i].started) pthread_join(threads[i].handle, nullptr);
    if (statuses != nullptr) statuses[i] = threads[i].status;
  }
  return all_started;
}

}  // namespace zolt
