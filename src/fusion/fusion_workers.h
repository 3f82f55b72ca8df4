#pragma once

#include <cstdint>

#include "threads/worker_pool.h"

namespace zolt {

/// The fusion cuts every plane for this many workers.
inline constexpr int kFusionWorkers = 4;

/// Runs body(worker) for worker 0 to 3 on the pool that ExposureFusion has started, and waits for all of
/// them.
template <typename Body>
void OnFusionWorkers(Body&& body) {
  RunOnPool(DenoisePool(), body, kFusionWorkers);
}

/// A worker's share of `count` rows or elements: a quarter, the last worker takes the rest.
struct Share {
  int64_t first;
  int64_t count;
};
inline Share FusionShare(int64_t count, int worker) {
  const int64_t quarter = count / kFusionWorkers;
  const int64_t first = quarter * worker;
  return {first, worker == kFusionWorkers - 1 ? count - first : quarter};
}

}  // namespace zolt
