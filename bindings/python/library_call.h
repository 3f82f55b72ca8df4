#pragma once

#include <pybind11/pybind11.h>

#include <optional>
#include <string>

#include "zolt_burst.h"

namespace zolt {

/// What Python set, kept for as long as the library may look at it.
struct CallOptions {
  int mode = ZOLT_BURST_FAST;
  int iso = 0;
  int reference = -1;
  int fusion = ZOLT_BURST_FUSION_AUTO;
  bool keep_all = false;
  int expected_frames = 0;
  uint64_t memory_limit = 0;
  std::optional<std::string> tuning;             // as the file system names it
  pybind11::object progress = pybind11::none();  // called with the share that is done
};

/// One user's way into the library: lets Ctrl-C and exceptions of the progress function end a burst, and
/// brings them back to Python. Lives as long as the options that it gives out.
class LibraryCall {
 public:
  explicit LibraryCall(CallOptions options) : options_(std::move(options)) {}
  LibraryCall(const LibraryCall&) = delete;
  LibraryCall& operator=(const LibraryCall&) = delete;

  zolt_burst_options Options();

  /// The library's result of `work`, which runs without the interpreter's lock. Throws what Python raised
  /// meanwhile, and RuntimeError inside of a progress function: the library's order of calls would wait for
  /// itself there.
  template <typename Work>
  int32_t Run(const Work& work) {
    RefuseInsideProgress();
    failure_.reset();
    int32_t result = 0;
    {
      const pybind11::gil_scoped_release released;
      result = work();
    }
    // A signal or a failure in the last step may come too late to cancel anything; it is raised all the same.
    if (failure_) {
      pybind11::error_already_set failure = *failure_;
      failure_.reset();
      throw failure;
    }
    return result;
  }

 private:
  static void RefuseInsideProgress();
  static int Step(void* user, double done);

  CallOptions options_;
  std::optional<pybind11::error_already_set> failure_;
};

}  // namespace zolt
