#pragma once

namespace zolt::test {

/// While it lives, the k-th pthread_create from now on (0 is the next) fails with EAGAIN, and with
/// `all_after` every later one too. k below 0 fails none. Also counts.
class ThreadFailure {
 public:
  explicit ThreadFailure(int k, bool all_after = false);
  ~ThreadFailure();
  ThreadFailure(const ThreadFailure&) = delete;
  ThreadFailure& operator=(const ThreadFailure&) = delete;

  int attempts() const;  ///< calls of pthread_create since construction
};

}  // namespace zolt::test
