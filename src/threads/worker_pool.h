#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <sys/types.h>

#include <cstdint>
#include <mutex>
#include <type_traits>

namespace zolt {

/// What a worker runs: the caller's argument, the job's index, and the place that holds the routine itself.
using JobFunction = void (*)(void* argument, int32_t job_index, void* function_field);

/// Threads that wait for jobs, bound to the fast cores, for stages that split an image in four many times per
/// frame. At most 16 workers, no heap. Start and Stop are counted, not idempotent: each start adds four
/// workers, each stop takes four away, so a stage pairs them. One stage at a time uses a pool.
class WorkerPool {
 public:
  static constexpr int32_t kSlots = 16;
  static constexpr int32_t kThreadsPerStart = 4;

  /// `name` of at most 12 characters names the workers while they run a job: "name_0" to "name_3".
  constexpr explicit WorkerPool(const char* name) : name_(name) {}
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  const char* name() const { return name_; }

  /// Adds four workers. 0, or -1 when fewer than four exist afterwards; those stay, and a caller that sees -1
  /// does not call Stop.
  int32_t Start();
  /// Ends and joins four waiting workers, or as many as wait.
  void Stop();
  /// Ends and joins all waiting workers, whoever started them: what failed starts have left behind.
  /// Afterwards the pool has no user.
  void EndLeftOver();

  /// Takes a waiting worker and loads the job, but doesn't start it; spins until a worker waits. `name` null
  /// keeps the worker's former name. Returns the slot.
  int32_t AcquireJobThread(int32_t job_index, JobFunction function, void* argument, const char* name);
  void StartJobThread(int32_t slot);
  /// Waits for the job's end and gives the worker back.
  void WaitJobThread(int32_t slot);

  /// Counts of slots in each state and of all workers and users.
  struct Counts {
    int32_t idle, busy, reserve, threads, users;
  };
  Counts counts();

 private:
  struct WorkerThread {
    pthread_t thread;
    uint8_t exitFlag;
    sem_t startSem;
    sem_t doneSem;
    int32_t slot;
    int32_t jobIndex;
    JobFunction function;
    void* argument;
    char name[16];
  };
  /// Slot indices; `top` is -1 when empty.
  struct SlotStack {
    int32_t slots[kSlots];
    int32_t top;
    void Push(int32_t slot) { slots[++top] = slot; }
    int32_t Pop() { return slots[top--]; }
  };

  static void* RunWorker(void* worker);
  void createOneThread();
  void DestroyOneThread();

  const char* name_;
  std::mutex init_mutex_;  // always taken before pool_mutex_; guards the next three
  int32_t user_count_ = 0;
  int32_t thread_count_ = 0;
  bool ready_ = false;
  std::mutex pool_mutex_;  // guards the stacks and the job fields of the workers
  SlotStack idle_ = {{}, -1};
  SlotStack busy_ = {{}, -1};
  SlotStack reserve_ = {{}, -1};
  WorkerThread workers_[kSlots] = {};
};

/// The process-wide pools: one for registration, one for all other stages.
WorkerPool& RegistrationPool();
WorkerPool& DenoisePool();

/// CPUs of a phone's fast cluster, which has the high numbers, as an affinity mask: 4 to 7 of eight or more,
/// all of four or fewer.
uint32_t FastClusterMask(int64_t configured_cpus);

/// Binds a thread to the fast cluster; a machine that refuses the mask gets a log line. `mode` is 1. Result
/// of the system call.
int64_t callBindCpu(pid_t thread_id, int32_t mode);

/// Runs body(0) to body(jobs - 1) on the pool's workers at once and waits for all. The pool has been started.
template <typename Body>
void RunOnPool(WorkerPool& pool, Body&& body, int32_t jobs = WorkerPool::kThreadsPerStart) {
  using Stored = std::remove_reference_t<Body>;
  const JobFunction call = [](void* argument, int32_t index, void*) {
    (*static_cast<Stored*>(argument))(index);
  };
  void* argument = const_cast<void*>(static_cast<const void*>(&body));
  int32_t slots[WorkerPool::kThreadsPerStart];
  for (int32_t i = 0; i < jobs; ++i) {
    slots[i] = pool.AcquireJobThread(i, call, argument, pool.name());
    pool.StartJobThread(slots[i]);
  }
  for (int32_t i = 0; i < jobs; ++i) pool.WaitJobThread(slots[i]);
}

}  // namespace zolt
