#include "batch/batch_run.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <list>

#include "batch/batch_process.h"
#include "common/errors.h"
#include "common/progress.h"

namespace zolt {
namespace {

using Clock = std::chrono::steady_clock;

// The signals that end a batch, turned into something to poll while this lives.
class StopSignals {
 public:
  StopSignals() {
    sigset_t stopping;
    sigemptyset(&stopping);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      // Under nohup, or in the background of a script, the signal is ignored, and has to stay so.
      struct sigaction now = {};
      if (sigaction(signal, nullptr, &now) == 0 && now.sa_handler != SIG_IGN) sigaddset(&stopping, signal);
    }
    pthread_sigmask(SIG_BLOCK, &stopping, &before_);
    channel_ = signalfd(-1, &stopping, SFD_NONBLOCK | SFD_CLOEXEC);
  }
  ~StopSignals() {
    if (channel_ >= 0) close(channel_);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  int channel() const { return channel_; }
  const sigset_t& before() const { return before_; }
  bool Take() const {
    signalfd_siginfo info;
    return read(channel_, &info, sizeof info) == static_cast<ssize_t>(sizeof info);
  }

 private:
  sigset_t before_ = {};
  int channel_ = -1;
};

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \n"), last = text.find_last_not_of(" \n");
  return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

// What the program itself said last; the library's log may stand in front.
std::string ErrorText(const std::string& errors) {
  const std::string mark = "zolt-burst: ";
  const size_t at = errors.rfind(mark);
  return Trimmed(at == std::string::npos ? errors : errors.substr(at + mark.size()));
}

nlohmann::ordered_json Record(const BatchJob& job, int exit_code, double seconds) {
  return {{"line", job.line},
          {"arguments", job.arguments},
          {"exit", exit_code},
          {"seconds", std::round(seconds * 1000) / 1000}};
}

nlohmann::ordered_json FaultRecord(const BatchJob& job, int exit_code, const std::string& fault) {
  nlohmann::ordered_json record = Record(job, exit_code, 0);
  record["error"] = fault;
  return record;
}

class Batch {
 public:
  Batch(const std::vector<BatchJob>& jobs, const BatchSettings& settings, BatchResults* results)
      : settings_(settings), results_(*results) {
    for (const BatchJob& job : jobs) {
      if (settings.resume && results->HasDone(job)) {
        ++tally_.skipped;
      } else {
        waiting_.push_back(&job);
      }
    }
    std::reverse(waiting_.begin(), waiting_.end());
  }

  BatchTally Run() {
    Progress progress("batch: burst", static_cast<int>(waiting_.size()));
    progress_ = &progress;
    while (StartSome()) {
      WaitForNews();
      Finish();
    }
    return tally_;
  }

 private:
  struct Running {
    Running(const BatchJob* j, const BatchSettings& settings, const sigset_t& mask)
        : job(j), begin(Clock::now()), process(settings.program, Arguments(*j), mask) {}
    static std::vector<std::string> Arguments(const BatchJob& job) {
      std::vector<std::string> arguments = {"denoise", "--json"};
      arguments.insert(arguments.end(), job.arguments.begin(), job.arguments.end());
      return arguments;
    }

    const BatchJob* job;
    Clock::time_point begin;
    BatchProcess process;
  };

  // Whether something runs.
  bool StartSome() {
    while (!tally_.stopped && !waiting_.empty() && running_.size() < static_cast<size_t>(settings_.jobs)) {
      const BatchJob* job = waiting_.back();
      waiting_.pop_back();
      if (!job->fault.empty()) {
        Add(FaultRecord(*job, kExitUsage, job->fault));
        continue;
      }
      try {
        running_.emplace_back(job, settings_, signals_.before());
      } catch (const ToolError& e) {
        Add(FaultRecord(*job, e.code(), e.what()));
      }
    }
    return !running_.empty();
  }

  void WaitForNews() {
    std::vector<pollfd> polled = {{signals_.channel(), POLLIN, 0}};
    for (const Running& r : running_) {
      for (const int channel : r.process.channels()) polled.push_back({channel, POLLIN, 0});
    }
    if (poll(polled.data(), polled.size(), -1) < 0) {
      if (errno == EINTR) return;
      FailFile(std::string("the processes can't be waited for: ") + std::strerror(errno));
    }
    while (signals_.Take()) Stop();
    size_t at = 1;
    for (Running& r : running_) {
      for (size_t channel = 0; channel < 2; ++channel) {
        if (polled[at++].revents != 0) r.process.Read(channel);
      }
    }
  }

  void Stop() {
    for (const Running& r : running_) r.process.Signal(tally_.stopped ? SIGKILL : SIGTERM);
    tally_.stopped = true;
  }

  void Finish() {
    for (auto it = running_.begin(); it != running_.end();) {
      if (!it->process.AtEnd()) {
        ++it;
        continue;
      }
      Tell(&*it);
      it = running_.erase(it);
    }
  }

  void Tell(Running* r) {
    const std::chrono::duration<double> spent = Clock::now() - r->begin;
    const int status = r->process.Wait();
    const bool killed = WIFSIGNALED(status);
    // As shells number it.
    const int code = killed ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    nlohmann::ordered_json record = Record(*r->job, code, spent.count());
    const nlohmann::ordered_json said = nlohmann::ordered_json::parse(r->process.output(), nullptr, false);
    if (code == kExitDone && said.is_object()) {
      record["result"] = said;
      const std::string warnings = Trimmed(r->process.errors());
      if (!warnings.empty()) record["warnings"] = warnings;
    } else {
      while (signals_.Take()) Stop();
      if (tally_.stopped) return;  // it was ended, it did not fail
      if (said.is_object() && said.contains("result")) record["library_result"] = said["result"];
      std::string error = ErrorText(r->process.errors());
      if (killed)
        error = std::string("ended by signal: ") + strsignal(WTERMSIG(status)) + (error.empty() ? "" : "; ") +
                error;
      record["error"] = error.empty() ? "no result came back" : error;
    }
    Add(record);
  }

  void Add(const nlohmann::ordered_json& record) {
    results_.Add(record);
    ++(record.contains("result") ? tally_.done : tally_.failed);
    progress_->Step();
  }

  const BatchSettings& settings_;
  BatchResults& results_;
  StopSignals signals_;
  Progress* progress_ = nullptr;
  std::vector<const BatchJob*> waiting_;  // the next one at the end
  std::list<Running> running_;
  BatchTally tally_;
};

}  // namespace

BatchTally RunBatch(const std::vector<BatchJob>& jobs, const BatchSettings& settings, BatchResults* results) {
  return Batch(jobs, settings, results).Run();
}

}  // namespace zolt
