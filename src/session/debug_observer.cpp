#include "session/debug_observer.h"

namespace zolt {
namespace {

FrameObserver current_observer = nullptr;
void* current_user = nullptr;

}  // namespace

void SetFrameObserver(FrameObserver observer, void* user) {
  current_observer = observer;
  current_user = user;
}

FrameWatch::FrameWatch() : active_(current_observer != nullptr) {
  if (active_) mark_ = std::chrono::steady_clock::now();
}

void FrameWatch::Lap(int64_t FrameObservation::*stage) {
  if (!active_) return;
  const auto now = std::chrono::steady_clock::now();
  seen.*stage = std::chrono::duration_cast<std::chrono::microseconds>(now - mark_).count();
  mark_ = now;
}

void FrameWatch::Tell(FrameObservation::Moment moment) {
  if (!active_) return;
  seen.moment = moment;
  if (moment == FrameObservation::Moment::kDone) {
    seen.aligned = {};
    seen.ghost_map = nullptr;
    seen.weight_map = nullptr;
  }
  current_observer(current_user, seen);
  // The observer's own time belongs to no stage.
  mark_ = std::chrono::steady_clock::now();
}

}  // namespace zolt
