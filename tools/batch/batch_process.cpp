#include "batch/batch_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/errors.h"

namespace zolt {
namespace {

constexpr size_t kMostErrors = 4000;
constexpr size_t kMostOutput = 1 << 20;

class SpawnPlan {
 public:
  SpawnPlan() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
  }
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

void CloseIfOpen(int* file) {
  if (*file >= 0) close(*file);
  *file = -1;
}

}  // namespace

BatchProcess::BatchProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const sigset_t& mask) {
  SpawnPlan plan;
  posix_spawnattr_setsigmask(&plan.attributes, &mask);
  posix_spawnattr_setflags(&plan.attributes, POSIX_SPAWN_SETSIGMASK);
  posix_spawn_file_actions_addopen(&plan.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  std::array<int, 2> far_ends = {-1, -1};
  int failure = 0;
  for (size_t i = 0; i < 2 && failure == 0; ++i) {
    int ends[2];
    failure = pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno;
    if (failure != 0) break;
    channels_[i] = ends[0];
    far_ends[i] = ends[1];
    posix_spawn_file_actions_adddup2(&plan.actions, far_ends[i], static_cast<int>(i) + STDOUT_FILENO);
  }
  std::vector<std::string> words = {"zolt-burst"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  if (failure == 0)
    failure = posix_spawn(&process_, program.c_str(), &plan.actions, &plan.attributes, argv.data(), environ);
  for (int& end : far_ends) CloseIfOpen(&end);
  if (failure == 0) return;
  process_ = -1;
  for (int& channel : channels_) CloseIfOpen(&channel);
  FailFile(std::string("the process can't be started: ") + std::strerror(failure));
}

BatchProcess::~BatchProcess() {
  if (process_ > 0) {
    Signal(SIGKILL);
    Wait();
  }
  for (int& channel : channels_) CloseIfOpen(&channel);
}

void BatchProcess::Read(size_t channel) {
  char block[65536];
  const ssize_t n = read(channels_[channel], block, sizeof block);
  if (n < 0 && errno == EINTR) return;
  if (n <= 0) return CloseIfOpen(&channels_[channel]);
  std::string& text = texts_[channel];
  text.append(block, static_cast<size_t>(n));
  const size_t most = channel == 0 ? kMostOutput : kMostErrors;
  if (text.size() > most) text.erase(0, text.size() - most);
}

int BatchProcess::Wait() {
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return status;
}

void BatchProcess::Signal(int signal) const {
  if (process_ > 0) kill(process_, signal);
}

}  // namespace zolt
