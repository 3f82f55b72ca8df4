#include "threads/fork_join.h"

#include <gtest/gtest.h>

#include <atomic>

#include "support/thread_failure.h"

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

}  // namespace
}  // namespace zolt
