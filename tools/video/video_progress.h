#pragma once

#include <chrono>
#include <cstdint>

namespace zolt {

/// A line on standard error: frames done, frames per second, time left. Nothing if that is no terminal.
class VideoProgress {
 public:
  explicit VideoProgress(int64_t expected, bool quiet);
  ~VideoProgress();
  VideoProgress(const VideoProgress&) = delete;
  VideoProgress& operator=(const VideoProgress&) = delete;

  void Step();
  int64_t done() const { return done_; }
  double rate() const;  ///< frames per second so far

 private:
  using Clock = std::chrono::steady_clock;
  int64_t expected_, done_ = 0;
  bool shown_;
  Clock::time_point start_ = Clock::now(), told_ = start_;
};

}  // namespace zolt
