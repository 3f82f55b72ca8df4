#include "threads/fork_join.h"

#include <pthread.h>

#include <cassert>

namespace zolt {
namespace {

constexpr int32_t kMaxThreads = 8;

struct ThreadRecord {
  pthread_t handle;
  ForkRoutine routine;
  void* argument;
  int32_t index;
  int32_t status;
  bool started;
};

void* RunRecord(void* argument) {
  auto* record = static_cast<ThreadRecord*>(argument);
  record->status = record->routine(record->argument, record->index);
  return nullptr;
}

}  // namespace

bool ForkJoin(ForkRoutine routine, void* argument, int32_t count, int32_t* statuses,
              const ForkOptions& options) {
  assert(count <= kMaxThreads);
  ThreadRecord records[kMaxThreads] = {};
  bool all_started = true;
  for (int32_t i = 0; i < count && (all_started || !options.stop_at_failure); ++i) {
    ThreadRecord& record = records[i];
    record.routine = routine;
    record.argument = argument;
    record.index = i;
    record.started = pthread_create(&record.handle, nullptr, RunRecord, &record) == 0;
    all_started = all_started && record.started;
    if (record.started && options.thread_name != nullptr) {
      pthread_setname_np(record.handle, options.thread_name);
    }
  }
  if (!all_started && options.on_start_failure != nullptr) options.on_start_failure(argument);
  for (int32_t i = 0; i < count; ++i) {
    if (records[i].started) pthread_join(records[i].handle, nullptr);
    if (statuses != nullptr) statuses[i] = records[i].status;
  }
  return all_started;
}

}  // namespace zolt
