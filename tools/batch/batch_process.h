#pragma once

#include <sys/types.h>

#include <array>
#include <csignal>
#include <string>
#include <vector>

namespace zolt {

/// A program that runs beside this one, nothing on its standard input, its output and errors kept here.
class BatchProcess {
 public:
  /// `arguments` without the program's name. The process starts with the signal mask `mask`. ToolError (file)
  /// if it can't be started.
  BatchProcess(const std::string& program, const std::vector<std::string>& arguments, const sigset_t& mask);
  /// A process that still runs is killed.
  ~BatchProcess();
  BatchProcess(const BatchProcess&) = delete;
  BatchProcess& operator=(const BatchProcess&) = delete;

  /// File descriptors to poll: of output and errors; -1 when their end is reached.
  const std::array<int, 2>& channels() const { return channels_; }
  /// Takes what has come through channel 0 or 1; called when poll says that there is something.
  void Read(size_t channel);
  bool AtEnd() const { return channels_[0] < 0 && channels_[1] < 0; }

  /// The wait status; call it at the end of both channels.
  int Wait();
  void Signal(int signal) const;

  const std::string& output() const { return texts_[0]; }
  /// The end of the errors; nobody reads the beginning of megabytes.
  const std::string& errors() const { return texts_[1]; }

 private:
  pid_t process_ = -1;
  std::array<int, 2> channels_ = {-1, -1};
  std::array<std::string, 2> texts_;
};

}  // namespace zolt
