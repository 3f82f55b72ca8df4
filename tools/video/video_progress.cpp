#include "video/video_progress.h"

#include <unistd.h>

#include <cstdio>

namespace zolt {

VideoProgress::VideoProgress(int64_t expected, bool quiet)
    : expected_(expected), shown_(!quiet && isatty(STDERR_FILENO) == 1) {}

VideoProgress::~VideoProgress() {
  if (shown_) std::fprintf(stderr, "\r\033[K");
}

double VideoProgress::rate() const {
  const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
  return seconds > 0 ? static_cast<double>(done_) / seconds : 0;
}

void VideoProgress::Step() {
  ++done_;
  const Clock::time_point now = Clock::now();
  if (!shown_ || now - told_ < std::chrono::milliseconds(250)) return;
  told_ = now;
  std::fprintf(stderr, "\rvideo: frame %lld", static_cast<long long>(done_));
  if (expected_ > 0) std::fprintf(stderr, " of about %lld", static_cast<long long>(expected_));
  std::fprintf(stderr, ", %.1f frames/s", rate());
  if (expected_ > done_ && rate() > 0) {
    const auto left = static_cast<long long>(static_cast<double>(expected_ - done_) / rate() + 0.5);
    std::fprintf(stderr, ", %lld:%02lld left", left / 60, left % 60);
  }
  std::fprintf(stderr, "\033[K");
}

}  // namespace zolt
