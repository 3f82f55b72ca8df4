#include "threads/worker_pool.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "base/alloc_hooks.h"
#include "base/log.h"

namespace zolt {
namespace {

constinit WorkerPool registration_pool(kRegistrationPool);
constinit WorkerPool denoise_pool(kDenoisePool);

}  // namespace

WorkerPool& RegistrationPool() {
  return registration_pool;
}

WorkerPool& DenoisePool() {
  return denoise_pool;
}

uint32_t FastClusterMask(int64_t configured_cpus) {
  const int64_t low = configured_cpus > 4 ? 4 : 0;
  const int64_t high = configured_cpus > 8 ? 8 : configured_cpus;
  uint32_t mask = 0;
  for (int64_t cpu = low; cpu < high; ++cpu) mask |= 1u << cpu;
  return mask;
}

int64_t callBindCpu(pid_t thread_id, int32_t /*mode*/) {
  const uint32_t mask = FastClusterMask(sysconf(_SC_NPROCESSORS_CONF));
  // The raw call: older phones' C libraries lack the wrapper.
  const long result = syscall(SYS_sched_setaffinity, thread_id, sizeof(mask), &mask);
  if (result != 0) LogError("callBindCpu Failure!");
  return result;
}

void* WorkerPool::RunWorker(void* worker) {
  auto* self = static_cast<WorkerThread*>(worker);
  callBindCpu(static_cast<pid_t>(syscall(SYS_gettid)), 1);
  for (;;) {
    while (sem_wait(&self->startSem) != 0) {  // a signal handler of the process may interrupt the wait
    }
    if (self->exitFlag != 0) return nullptr;
    if (self->function != nullptr) {
      self->function(self->argument, self->jobIndex, static_cast<void*>(&self->function));
    }
    sem_post(&self->doneSem);
  }
}

void WorkerPool::createOneThread() {
  const std::lock_guard lock(pool_mutex_);
  if (reserve_.top < 0) {
    LogError("can't create thread or no need create thread, idle_top = %d, busy_top = %d reserve_top = %d",
             idle_.top, busy_.top, reserve_.top);
    return;
  }
  const int32_t slot = reserve_.slots[reserve_.top];
  WorkerThread& worker = workers_[slot];
  worker = {};
  worker.slot = slot;
  sem_init(&worker.startSem, 0, 0);
  sem_init(&worker.doneSem, 0, 0);
  if (pthread_create(&worker.thread, nullptr, RunWorker, &worker) != 0) {
    LogError("[%s] Create Thread Failed!", __func__);
    sem_destroy(&worker.startSem);
    sem_destroy(&worker.doneSem);
    return;
  }
  idle_.Push(reserve_.Pop());
  ++thread_count_;
}

void WorkerPool::DestroyOneThread() {
  const std::lock_guard lock(pool_mutex_);
  if (idle_.top < 0) {
    LogError("can't destryp thread or no need destroy thread, idle_top = %d, busy_top = %d reserve_top = %d",
             idle_.top, busy_.top, reserve_.top);
    return;
  }
  const int32_t slot = idle_.Pop();
  WorkerThread& worker = workers_[slot];
  worker.exitFlag = 1;
  worker.function = nullptr;
  worker.argument = nullptr;
  sem_post(&worker.startSem);
  pthread_join(worker.thread, nullptr);
  sem_destroy(&worker.startSem);
  sem_destroy(&worker.doneSem);
  worker.name[0] = '\0';
  reserve_.Push(slot);
  --thread_count_;
}

int32_t WorkerPool::Start() {
  const std::lock_guard lock(init_mutex_);
  ++user_count_;
  if (!ready_) {
    const std::lock_guard pool_lock(pool_mutex_);
    for (int32_t i = 0; i < kSlots; ++i) reserve_.Push(i);
    ready_ = true;
  }
  for (int32_t i = 0; i < kThreadsPerStart; ++i) createOneThread();
  if (thread_count_ >= kThreadsPerStart) return 0;
  LogError("MultiThread Init Failed thread num=%d", thread_count_);
  return -1;
}

void WorkerPool::Stop() {
  const std::lock_guard lock(init_mutex_);
  --user_count_;
  for (int32_t i = 0; i < kThreadsPerStart; ++i) DestroyOneThread();
}

void WorkerPool::EndLeftOver() {
  const std::lock_guard lock(init_mutex_);
  int32_t waiting = 0;
  {
    const std::lock_guard pool_lock(pool_mutex_);
    waiting = idle_.top + 1;
  }
  for (; waiting > 0; --waiting) DestroyOneThread();
  user_count_ = 0;
}

int32_t WorkerPool::AcquireJobThread(int32_t job_index, JobFunction function, void* argument,
                                     const char* name) {
  std::unique_lock lock(pool_mutex_);
  while (idle_.top < 0) {
    lock.unlock();
    lock.lock();
  }
  const int32_t slot = idle_.Pop();
  busy_.Push(slot);
  WorkerThread& worker = workers_[slot];
  worker.jobIndex = job_index;
  worker.function = function;
  worker.argument = argument;
  if (name != nullptr) {
    std::snprintf(worker.name, sizeof(worker.name), "%.12s_%d", name, job_index);
    pthread_setname_np(worker.thread, worker.name);
  }
  return slot;
}

void WorkerPool::StartJobThread(int32_t slot) {
  sem_post(&workers_[slot].startSem);
}

void WorkerPool::WaitJobThread(int32_t slot) {
  WorkerThread& worker = workers_[slot];
  while (sem_wait(&worker.doneSem) != 0) {
  }
  worker.function = nullptr;
  worker.argument = nullptr;
  worker.exitFlag = 0;
  const std::lock_guard lock(pool_mutex_);
  idle_.Push(slot);
  --busy_.top;  // the stack counts workers in use; it does not track which
}

WorkerPool::Counts WorkerPool::counts() {
  const std::lock_guard lock(init_mutex_);
  const std::lock_guard pool_lock(pool_mutex_);
  return {idle_.top + 1, busy_.top + 1, reserve_.top + 1, thread_count_, user_count_};
}

}  // namespace zolt
