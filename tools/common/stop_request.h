#pragma once

#include <csignal>

namespace zolt {

/// Ctrl-C and SIGTERM, while one of these lives: the first is kept to be asked for, a second one ends the
/// process as ever. A signal that is ignored, as under nohup, stays so.
class StopRequest {
 public:
  StopRequest();
  ~StopRequest();
  StopRequest(const StopRequest&) = delete;
  StopRequest& operator=(const StopRequest&) = delete;

  static bool Heard();

 private:
  struct sigaction interrupt_, terminate_;  // as they were before
};

}  // namespace zolt
