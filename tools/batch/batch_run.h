#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "batch/batch_list.h"
#include "batch/batch_results.h"

namespace zolt {

struct BatchSettings {
  int jobs = 1;         // processes at a time
  bool resume = false;  // leave out what the results have as done
  std::string program = "/proc/self/exe";
};

struct BatchTally {
  int done = 0;
  int failed = 0;
  int skipped = 0;       // done in an earlier run
  bool stopped = false;  // by a signal; what was running then has no result
};

/// Runs 'denoise' once for each job, in a process of its own, and adds a record of each to `results` as it
/// ends. SIGINT, SIGTERM and SIGHUP end the running processes and the batch; a second one kills them.
BatchTally RunBatch(const std::vector<BatchJob>& jobs, const BatchSettings& settings, BatchResults* results);

}  // namespace zolt
