#include "support/thread_failure.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> attempt_count{0};
std::atomic<int> failing_attempt{-1};
std::atomic<bool> fail_all_after{false};

}  // namespace

// The linker sends every pthread_create of the test program here (--wrap).
extern "C" int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
extern "C" int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*routine)(void*), void* argument) {
  const int attempt = attempt_count.fetch_add(1);
  const int failing = failing_attempt.load();
  if (failing >= 0 && (attempt == failing || (fail_all_after.load() && attempt > failing))) return EAGAIN;
  return __real_pthread_create(thread, attributes, routine, argument);
}

namespace zolt::test {

ThreadFailure::ThreadFailure(int k, bool all_after) {
  attempt_count = 0;
  fail_all_after = all_after;
  failing_attempt = k;
}

ThreadFailure::~ThreadFailure() {
  failing_attempt = -1;
}

int ThreadFailure::attempts() const {
  return attempt_count.load();
}

}  // namespace zolt::test
