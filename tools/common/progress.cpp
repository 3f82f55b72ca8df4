#include "common/progress.h"

#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <utility>

namespace zolt {
namespace {

std::mutex line_mutex;

}  // namespace

Progress::Progress(std::string what, int total)
    : what_(std::move(what)), total_(total), shown_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (shown_) std::fprintf(stderr, "\r\033[K");
}

void Progress::Step() {
  const std::lock_guard<std::mutex> lock(line_mutex);
  ++done_;
  if (shown_) std::fprintf(stderr, "\r%s %d of %d\033[K", what_.c_str(), done_, total_);
}

void Progress::Show(double share) {
  const std::lock_guard<std::mutex> lock(line_mutex);
  const int percent = static_cast<int>(100 * share);
  if (shown_ && percent != done_) std::fprintf(stderr, "\r%s %d %%\033[K", what_.c_str(), percent);
  done_ = percent;
}

}  // namespace zolt
