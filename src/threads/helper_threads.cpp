#include "threads/helper_threads.h"

#include <cstdlib>

#include "base/log.h"

namespace zolt {

std::atomic<void* (*)(size_t)> helper_records_malloc{std::malloc};

int32_t RunHelperThreads(ForkRoutine routine, void* argument, int32_t count) {
  if (count < 1) return 0;
  void* records = helper_records_malloc.load()(static_cast<size_t>(count) * sizeof(ForkThread));
  if (records == nullptr) {
    LogError("Buffer malloc Failed!");
    return -1;
  }
  ForkOptions options;
  options.thread_name = "EIS thread";
  options.stop_at_failure = true;
  const bool started =
      ForkJoinWith(static_cast<ForkThread*>(records), routine, argument, count, nullptr, options);
  std::free(records);
  if (started) return 0;
  LogError("Thread Create Failed!");
  return -1;
}

}  // namespace zolt
