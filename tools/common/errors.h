#pragma once

#include <stdexcept>
#include <string>

namespace zolt {

/// What zolt-burst tells the shell.
enum ExitCode : int {
  kExitDone = 0,
  kExitUsage = 1,       // an option or the set of frames makes no sense
  kExitFile = 2,        // a file can't be read or written
  kExitRefused = 3,     // the library did not take the burst
  kExitSomeFailed = 4,  // of many bursts
  kExitStopped = 130,   // by Ctrl-C, as shells have it
};

/// Ends a command: the text goes to standard error as it is, the code to the shell.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

[[noreturn]] inline void FailUsage(const std::string& text) {
  throw ToolError(kExitUsage, text);
}
[[noreturn]] inline void FailFile(const std::string& text) {
  throw ToolError(kExitFile, text);
}

}  // namespace zolt
