#include "common/stop_request.h"

namespace zolt {
namespace {

volatile std::sig_atomic_t stop_heard = 0;

void HearStop(int) {
  stop_heard = 1;
}

void Listen(int signal, struct sigaction* before) {
  struct sigaction action = {};
  action.sa_handler = &HearStop;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(signal, nullptr, before);
  if (before->sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
}

}  // namespace

StopRequest::StopRequest() {
  stop_heard = 0;
  Listen(SIGINT, &interrupt_);
  Listen(SIGTERM, &terminate_);
}

StopRequest::~StopRequest() {
  sigaction(SIGINT, &interrupt_, nullptr);
  sigaction(SIGTERM, &terminate_, nullptr);
}

bool StopRequest::Heard() {
  return stop_heard != 0;
}

}  // namespace zolt
