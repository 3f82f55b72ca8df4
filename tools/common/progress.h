#pragma once

#include <string>

namespace zolt {

/// One line on standard error that is rewritten as the work goes on ("simulate: frame 3 of 6"). Prints
/// nothing when standard error is no terminal. Any thread may step.
class Progress {
 public:
  Progress(std::string what, int total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Step();
  /// In place of steps: the share that is done, 0 to 1, shown in per cent.
  void Show(double share);

 private:
  std::string what_;
  int total_;
  int done_ = 0;
  bool shown_;
};

}  // namespace zolt
