#include "threads/helper_threads.h"

#include "base/log.h"

namespace zolt {

int32_t RunHelperThreads(ForkRoutine routine, void* argument, int32_t count) {
  ForkOptions options;
  options.thread_name = "EIS thread";
  options.stop_at_failure = true;
  if (ForkJoin(routine, argument, count, nullptr, options)) return 0;
  LogError("Thread Create Failed!");
  return -1;
}

}  // namespace zolt
