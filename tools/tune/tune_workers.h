#pragma once

#include <sys/types.h>
#include <string>
#include <vector>

#include "config/configuration.h"
#include "tune/tune_burst.h"
#include "tune/tune_score.h"

namespace zolt {

/// Processes that take bursts through the library, each its own share of them, as the library can run one
/// burst at a time in a process. They live as long as this, see the bursts as they are now, and leave Ctrl-C
/// to the parent.
class TuneWorkers {
 public:
  enum class Depth {
    kMerged,  // the merge alone counts as the result
    kResult,
    kFine,  // the result is fine mode's, and the merge is not looked at
  };

  /// At most `jobs` processes. ToolError (file) if none can be started.
  TuneWorkers(const std::vector<const TuneBurst*>& bursts, int border, bool with_ssim, int jobs);
  ~TuneWorkers();
  TuneWorkers(const TuneWorkers&) = delete;
  TuneWorkers& operator=(const TuneWorkers&) = delete;

  /// The scores of all bursts, in their order. ToolError if the library refuses one, or a process ends.
  std::vector<TuneScore> Evaluate(const MfConfig& config, Depth depth);

 private:
  struct Worker {
    pid_t process = -1;
    int channel = -1;
    std::vector<size_t> bursts;
    double load = 0;
  };

  void Start(Worker* worker, const std::vector<const TuneBurst*>& bursts, int border, bool with_ssim);
  void End();

  size_t count_;
  std::vector<Worker> workers_;
};

}  // namespace zolt
