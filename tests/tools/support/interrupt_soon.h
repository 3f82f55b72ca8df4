#pragma once

#include <sys/time.h>
#include <unistd.h>

#include <csignal>

namespace zolt {

/// Sends this process Ctrl-C, at the first tick of a timer that finds somebody listening; before that it
/// would end the test. By a timer and not by a thread, as processes are forked meanwhile.
class InterruptSoon {
 public:
  explicit InterruptSoon(int tick_microseconds) {
    std::signal(SIGINT, &NobodyListens);
    struct sigaction action = {};
    action.sa_handler = [](int) {
      struct sigaction now = {};
      sigaction(SIGINT, nullptr, &now);
      if (now.sa_handler == &NobodyListens) return;
      SetTimer(0);
      kill(getpid(), SIGINT);
    };
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    SetTimer(tick_microseconds);
  }
  ~InterruptSoon() {
    SetTimer(0);
    std::signal(SIGALRM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
  }
  InterruptSoon(const InterruptSoon&) = delete;
  InterruptSoon& operator=(const InterruptSoon&) = delete;

 private:
  static void NobodyListens(int) {}
  static void SetTimer(int microseconds) {
    const itimerval timer = {{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }
};

}  // namespace zolt
