#pragma once

#include "threads/worker_pool.h"

namespace zolt::test {

/// Keeps a pool's four workers alive for a test of code that a stage calls between start and stop.
struct StartedPool {
  explicit StartedPool(WorkerPool& started = RegistrationPool()) : pool(started) { pool.Start(); }
  ~StartedPool() { pool.Stop(); }
  StartedPool(const StartedPool&) = delete;
  StartedPool& operator=(const StartedPool&) = delete;
  WorkerPool& pool;
};

}  // namespace zolt::test
