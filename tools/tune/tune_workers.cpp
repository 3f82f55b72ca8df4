#include "tune/tune_workers.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

#include "common/errors.h"
#include "tune/tune_pipeline.h"

namespace zolt {
namespace {

struct Request {
  TuneWorkers::Depth depth;
  MfConfig config;
};

struct Reply {
  TuneScore score;
  int32_t code;  // of the ToolError, kExitDone if there is none
  char error[500];
};

bool SendAll(int channel, const void* data, size_t size) {
  const char* from = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t sent = send(channel, from, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    from += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

bool ReceiveAll(int channel, void* data, size_t size) {
  char* to = static_cast<char*>(data);
  while (size > 0) {
    const ssize_t got = recv(channel, to, size, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    to += got;
    size -= static_cast<size_t>(got);
  }
  return true;
}

// One burst in a worker process: opened by the first request that names it.
class Bench {
 public:
  Bench(const TuneBurst& burst, const MfConfig& config, int border, bool with_ssim)
      : fused_(burst.fused),
        with_ssim_(with_ssim),
        first_(&burst.first()),
        judge_(burst, border),
        pipeline_(burst, config) {}

  TuneScore Score(const Request& request) {
    TuneScore score;
    score.iso = pipeline_.iso();
    if (request.depth == TuneWorkers::Depth::kFine) {
      score.result = judge_.Judge(pipeline_.Fine(request.config), with_ssim_);
      return score;
    }
    score.merged = judge_.Judge(fused_ ? *first_ : pipeline_.Merged(request.config), with_ssim_);
    score.result = request.depth == TuneWorkers::Depth::kMerged
                       ? score.merged
                       : judge_.Judge(pipeline_.Finished(request.config), with_ssim_);
    return score;
  }

 private:
  bool fused_;
  bool with_ssim_;
  const YuvPicture* first_;
  TuneJudge judge_;
  TunePipeline pipeline_;
};

Reply Failed(int code, const char* text) {
  Reply reply = {};
  reply.code = code;
  std::strncpy(reply.error, text, sizeof reply.error - 1);
  return reply;
}

// Answers requests until the parent closes the channel.
void Serve(int channel, const std::vector<const TuneBurst*>& bursts, int border, bool with_ssim) {
  std::vector<std::unique_ptr<Bench>> benches(bursts.size());
  Request request;
  while (ReceiveAll(channel, &request, sizeof request)) {
    for (size_t i = 0; i < bursts.size(); ++i) {
      Reply reply = {};
      try {
        if (!benches[i]) benches[i] = std::make_unique<Bench>(*bursts[i], request.config, border, with_ssim);
        reply.score = benches[i]->Score(request);
      } catch (const ToolError& e) {
        reply = Failed(e.code(), e.what());
      } catch (const std::exception& e) {
        reply = Failed(kExitFile, e.what());
      }
      if (!SendAll(channel, &reply, sizeof reply)) return;
    }
  }
}

// What the library has to do for it, in arbitrary units.
double Load(const TuneBurst& burst) {
  return double(burst.width()) * burst.height() * (burst.total() + 1);
}

}  // namespace

TuneWorkers::TuneWorkers(const std::vector<const TuneBurst*>& bursts, int border, bool with_ssim, int jobs)
    : count_(bursts.size()) {
  workers_.resize(std::min(bursts.size(), static_cast<size_t>(std::max(1, jobs))));
  // The largest first, each to whoever has the least to do.
  std::vector<size_t> order(bursts.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return Load(*bursts[a]) > Load(*bursts[b]); });
  for (const size_t i : order) {
    auto least = std::min_element(workers_.begin(), workers_.end(),
                                  [](const Worker& a, const Worker& b) { return a.load < b.load; });
    least->bursts.push_back(i);
    least->load += Load(*bursts[i]);
  }
  try {
    for (Worker& worker : workers_) Start(&worker, bursts, border, with_ssim);
  } catch (...) {
    End();
    throw;
  }
}

void TuneWorkers::Start(Worker* worker, const std::vector<const TuneBurst*>& bursts, int border,
                        bool with_ssim) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    FailFile(std::string("a channel to a worker process can't be opened: ") + std::strerror(errno));
  const pid_t process = fork();
  if (process < 0) {
    close(ends[0]);
    close(ends[1]);
    FailFile(std::string("a worker process can't be started: ") + std::strerror(errno));
  }
  if (process == 0) {
    // The others' channels must not stay open here, or they would outlive the parent.
    for (const Worker& other : workers_) {
      if (other.channel >= 0) close(other.channel);
    }
    close(ends[0]);
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGTERM, SIG_DFL);
    // A frame that can't be aligned makes the library complain at each of thousands of evaluations.
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) dup2(nowhere, STDERR_FILENO);
    std::vector<const TuneBurst*> own;
    for (const size_t i : worker->bursts) own.push_back(bursts[i]);
    Serve(ends[1], own, border, with_ssim);
    _exit(0);
  }
  close(ends[1]);
  worker->process = process;
  worker->channel = ends[0];
}

void TuneWorkers::End() {
  for (Worker& worker : workers_) {
    if (worker.channel >= 0) close(worker.channel);
    while (worker.process > 0 && waitpid(worker.process, nullptr, 0) < 0 && errno == EINTR) {
    }
    worker = Worker();
  }
}

TuneWorkers::~TuneWorkers() {
  End();
}

std::vector<TuneScore> TuneWorkers::Evaluate(const MfConfig& config, Depth depth) {
  const Request request = {depth, config};
  const auto lost = [] { FailFile("a worker process has ended unexpectedly, perhaps for lack of memory"); };
  for (const Worker& worker : workers_) {
    if (!SendAll(worker.channel, &request, sizeof request)) lost();
  }
  std::vector<TuneScore> scores(count_);
  Reply failure = {};
  for (const Worker& worker : workers_) {
    for (const size_t i : worker.bursts) {
      Reply reply;
      if (!ReceiveAll(worker.channel, &reply, sizeof reply)) lost();
      if (reply.code != kExitDone) failure = reply;
      scores[i] = reply.score;
    }
  }
  if (failure.code != kExitDone) throw ToolError(static_cast<ExitCode>(failure.code), failure.error);
  return scores;
}

}  // namespace zolt
