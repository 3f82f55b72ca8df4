#pragma once

#include <string>
#include <vector>

namespace zolt::test {

struct LogLine {
  int level;  ///< 4 info, 6 error
  std::string tag;
  std::string text;
};

/// The lines that the library has logged since the last call, oldest first; any thread may log meanwhile.
std::vector<LogLine> TakeLogLines();

/// Whether `text` is exactly one of the lines, at this level.
bool Contains(const std::vector<LogLine>& lines, int level, const std::string& text);

}  // namespace zolt::test
