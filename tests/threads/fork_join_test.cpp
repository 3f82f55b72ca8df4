#include "threads/fork_join.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cstdlib>
#include <string>

#include "support/log_lines.h"
#include "support/thread_failure.h"
#include "threads/helper_threads.h"

namespace zolt {
namespace {

struct Shared {
  std::atomic<int> ran{0};
  std::atomic<bool> told{false};
};

int32_t RunOne(void* argument, int32_t index) {
  ++static_cast<Shared*>(argument)->ran;
  return index + 10;
}

TEST(ForkJoin, RunsEveryIndexAndReturnsItsStatus) {
  Shared shared;
  int32_t statuses[4] = {};
  EXPECT_TRUE(ForkJoin(RunOne, &shared, 4, statuses));
  EXPECT_EQ(shared.ran, 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(statuses[i], i + 10);
}

TEST(ForkJoin, EachFailingStartIsReportedAndTheOthersAreJoined) {
  for (const bool stop : {false, true}) {
    for (int k = 0; k < 4; ++k) {
      Shared shared;
      int32_t statuses[4] = {};
      ForkOptions options;
      options.stop_at_failure = stop;
      options.on_start_failure = [](void* argument) { static_cast<Shared*>(argument)->told = true; };
      const test::ThreadFailure failure(k);
      EXPECT_FALSE(ForkJoin(RunOne, &shared, 4, statuses, options));
      EXPECT_TRUE(shared.told);
      EXPECT_EQ(shared.ran, stop ? k : 3);
      EXPECT_EQ(statuses[k], 0);
      EXPECT_EQ(failure.attempts(), stop ? k + 1 : 4);
    }
  }
}

TEST(RunHelperThreads, ThreadsAreNamed) {
  std::atomic<int> named{0};
  const ForkRoutine routine = [](void* count, int32_t) {
    char name[16] = {};
    // The one who started it names it, while it runs.
    for (int i = 0; i < 100000 && std::string(name) != "EIS thread"; ++i) {
      sched_yield();
      pthread_getname_np(pthread_self(), name, sizeof name);
    }
    *static_cast<std::atomic<int>*>(count) += std::string(name) == "EIS thread" ? 1 : 0;
    return 0;
  };
  EXPECT_EQ(RunHelperThreads(routine, &named, 4), 0);
  EXPECT_EQ(named, 4);
}

TEST(ForkJoin, MoreThanEightThreadsAreRefusedButForHelpers) {
  Shared shared;
  int32_t statuses[9];
  ForkOptions options;
  options.on_start_failure = [](void* argument) { static_cast<Shared*>(argument)->told = true; };
  EXPECT_FALSE(ForkJoin(RunOne, &shared, 9, statuses, options));
  EXPECT_TRUE(shared.told);
  EXPECT_EQ(statuses[8], 0);
  EXPECT_EQ(shared.ran, 0);
  EXPECT_EQ(RunHelperThreads(RunOne, &shared, 9), 0);
  EXPECT_EQ(shared.ran, 9);
}

TEST(HelperThreads, NoRecordsNoThreads) {
  Shared shared;
  test::TakeLogLines();
  helper_records_malloc = [](size_t) -> void* { return nullptr; };
  EXPECT_EQ(RunHelperThreads(RunOne, &shared, 4), -1);
  EXPECT_EQ(RunHelperThreads(RunOne, &shared, 0), 0);
  helper_records_malloc = std::malloc;
  EXPECT_EQ(shared.ran, 0);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "Buffer malloc Failed!"));
}

}  // namespace
}  // namespace zolt
