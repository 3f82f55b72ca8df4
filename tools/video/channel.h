#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <utility>

namespace zolt {

/// Hands things from one thread to another in order. It holds no more than `room` of them, so that a fast
/// decoder does not fill the memory before a slow encoder.
template <typename T>
class Channel {
 public:
  explicit Channel(size_t room) : room_(room) {}

  /// Waits for room. False if the other side takes no more.
  bool Put(T thing) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return things_.size() < room_ || closed_; });
    if (closed_) return false;
    things_.push_back(std::move(thing));
    changed_.notify_all();
    return true;
  }

  /// Nothing follows; with `failure` the taker gets that after the last thing.
  void End(std::exception_ptr failure = nullptr) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    failure_ = std::move(failure);
    changed_.notify_all();
  }

  /// The taker wants no more.
  void Close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    things_.clear();
    changed_.notify_all();
  }

  enum class State { kTaken, kEnded, kWaiting };
  /// kWaiting: nothing came in a fifth of a second, in which the user may have asked for the end.
  State Take(T* thing) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(200), [&] { return !things_.empty() || ended_; });
    if (!things_.empty()) {
      *thing = std::move(things_.front());
      things_.pop_front();
      changed_.notify_all();
      return State::kTaken;
    }
    if (!ended_) return State::kWaiting;
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    return State::kEnded;
  }

 private:
  const size_t room_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<T> things_;
  bool ended_ = false, closed_ = false;
  std::exception_ptr failure_;
};

}  // namespace zolt
