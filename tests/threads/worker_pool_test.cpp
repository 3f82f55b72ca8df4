#include "threads/worker_pool.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <string>

#include "support/log_lines.h"
#include "support/started_pool.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

int CountLines(const std::string& text) {
  const auto lines = test::TakeLogLines();
  return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const test::LogLine& line) {
    return line.level == 6 && line.text == text;
  }));
}

void ExpectCounts(WorkerPool& pool, int idle, int busy, int reserve, int users) {
  const WorkerPool::Counts counts = pool.counts();
  EXPECT_EQ(counts.idle, idle);
  EXPECT_EQ(counts.busy, busy);
  EXPECT_EQ(counts.reserve, reserve);
  EXPECT_EQ(counts.threads, idle + busy);
  EXPECT_EQ(counts.users, users);
}

TEST(WorkerPool, StartsAddFourUpToSixteenAndStopsTakeFourAway) {
  static WorkerPool pool("mfdenoise");
  for (int i = 1; i <= 4; ++i) {
    EXPECT_EQ(pool.Start(), 0);
    ExpectCounts(pool, 4 * i, 0, 16 - 4 * i, i);
  }
  test::TakeLogLines();
  EXPECT_EQ(pool.Start(), 0);  // sixteen are more than four
  EXPECT_EQ(CountLines("can't create thread or no need create thread, "
                       "idle_top = 15, busy_top = -1 reserve_top = -1"),
            4);
  for (int i = 4; i >= 1; --i) {
    pool.Stop();
    ExpectCounts(pool, 4 * (i - 1), 0, 20 - 4 * i, i);
  }
  test::TakeLogLines();
  pool.Stop();
  EXPECT_EQ(CountLines("can't destryp thread or no need destroy thread, "
                       "idle_top = -1, busy_top = -1 reserve_top = 15"),
            4);
  ExpectCounts(pool, 0, 0, 16, 0);
}

TEST(WorkerPool, AStopLeavesBusyWorkers) {
  static WorkerPool pool("mfdenoise");
  ASSERT_EQ(pool.Start(), 0);
  std::atomic<int> ran{0};
  int32_t slots[4];
  const JobFunction job = [](void* argument, int32_t, void* field) {
    ++*static_cast<std::atomic<int>*>(argument);
    EXPECT_NE(field, nullptr);
  };
  for (int i = 0; i < 4; ++i) slots[i] = pool.AcquireJobThread(i, job, &ran, nullptr);
  ExpectCounts(pool, 0, 4, 12, 1);
  pool.Stop();
  ExpectCounts(pool, 0, 4, 12, 0);
  for (const int32_t slot : slots) pool.StartJobThread(slot);
  for (const int32_t slot : slots) pool.WaitJobThread(slot);
  EXPECT_EQ(ran, 4);
  pool.Stop();
  ExpectCounts(pool, 0, 0, 16, -1);
}

TEST(WorkerPool, EachFailingThreadStartIsReportedAndKeepsTheOthers) {
  for (int k = 0; k < 4; ++k) {
    WorkerPool pool("mfdenoise");
    test::TakeLogLines();
    {
      const test::ThreadFailure failure(k);
      EXPECT_EQ(pool.Start(), -1);
      EXPECT_EQ(failure.attempts(), 4);
    }
    const auto lines = test::TakeLogLines();
    EXPECT_TRUE(test::Contains(lines, 6, "[createOneThread] Create Thread Failed!"));
    EXPECT_TRUE(test::Contains(lines, 6, "MultiThread Init Failed thread num=3"));
    ExpectCounts(pool, 3, 0, 13, 1);
    {
      // One thread more makes four, so the pool counts as started though three creations failed.
      const test::ThreadFailure failure(1, true);
      EXPECT_EQ(pool.Start(), 0);
    }
    std::atomic<int> sum{0};
    RunOnPool(pool, [&](int32_t i) { sum += 1 << i; });
    EXPECT_EQ(sum, 15);
    pool.Stop();
    ExpectCounts(pool, 0, 0, 16, 1);
  }
}

TEST(WorkerPool, FourJobsRunAtOnceAndAllEndBeforeTheForkReturns) {
  const test::StartedPool started;
  for (int round = 0; round < 20; ++round) {
    std::atomic<int> arrived{0};
    std::array<int, 4> plain = {};
    RunOnPool(RegistrationPool(), [&](int32_t i) {
      ++arrived;
      while (arrived < 4) sched_yield();  // hangs unless the four overlap
      plain[static_cast<size_t>(i)] = i + round;
    });
    for (int i = 0; i < 4; ++i) EXPECT_EQ(plain[static_cast<size_t>(i)], i + round);
  }
}

std::string OwnName() {
  char name[32] = {};
  pthread_getname_np(pthread_self(), name, sizeof name);
  return name;
}

TEST(WorkerPool, JobsCarryNames) {
  for (WorkerPool* pool : {&RegistrationPool(), &DenoisePool()}) {
    const test::StartedPool started(*pool);
    const std::string prefix = pool == &DenoisePool() ? "mfdenoise_" : "surf_reg_";
    RunOnPool(*pool, [&](int32_t i) { EXPECT_EQ(OwnName(), prefix + std::to_string(i)); });
  }
  const test::StartedPool started;
  const auto name_of_job = [&](const char* prefix) {
    std::string name;
    const JobFunction job = [](void* out, int32_t, void*) { *static_cast<std::string*>(out) = OwnName(); };
    const int32_t slot = started.pool.AcquireJobThread(3, job, &name, prefix);
    started.pool.StartJobThread(slot);
    started.pool.WaitJobThread(slot);
    return name;
  };
  EXPECT_EQ(name_of_job("thirteen chars"), "thirteen cha_3");
  EXPECT_EQ(name_of_job(nullptr), "thirteen cha_3");
}

// A thread has the affinity of who starts it until it is bound.
TEST(WorkerPool, WorkersAreBoundToTheFastCluster) {
  cpu_set_t before, one, bound, seen[4];
  ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
  const uint32_t mask = FastClusterMask(sysconf(_SC_NPROCESSORS_CONF));
  CPU_ZERO(&one);
  for (int cpu = 31; cpu >= 0; --cpu) {
    if (CPU_ISSET(cpu, &before)) {
      CPU_ZERO(&one);
      CPU_SET(cpu, &one);
    }
  }
  // What this machine makes of the mask; one that refuses it, as an emulator does, leaves the thread where it
  // is.
  const bool possible = syscall(SYS_sched_setaffinity, 0, sizeof mask, &mask) == 0;
  sched_getaffinity(0, sizeof bound, &bound);
  sched_setaffinity(0, sizeof one, &one);
  test::TakeLogLines();
  {
    const test::StartedPool started;
    RunOnPool(started.pool, [&](int32_t i) { sched_getaffinity(0, sizeof seen[i], &seen[i]); });
  }
  sched_setaffinity(0, sizeof before, &before);
  for (const cpu_set_t& cpus : seen) EXPECT_TRUE(CPU_EQUAL(&cpus, possible ? &bound : &one));
  EXPECT_EQ(CountLines("callBindCpu Failure!"), possible ? 0 : 4);
  EXPECT_NE(callBindCpu(INT32_MAX, 1), 0) << "there is no such thread";
  EXPECT_EQ(CountLines("callBindCpu Failure!"), 1);
}

TEST(WorkerPool, FastClusterIsTheUpperHalfOfAPhone) {
  const std::pair<int, uint32_t> cases[] = {{-1, 0},   {0, 0},    {1, 0x1},  {2, 0x3},  {4, 0xF},
                                            {5, 0x10}, {6, 0x30}, {8, 0xF0}, {9, 0xF0}, {64, 0xF0}};
  for (const auto& [cpus, mask] : cases) EXPECT_EQ(FastClusterMask(cpus), mask) << cpus;
}

}  // namespace
}  // namespace zolt
