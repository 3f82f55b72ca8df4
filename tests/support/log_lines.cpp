#include "support/log_lines.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "base/log.h"

namespace {

std::mutex mutex;
std::vector<zolt::test::LogLine>& Lines() {
  static std::vector<zolt::test::LogLine> lines;
  return lines;
}

}  // namespace

extern "C" int zolt_log_vprint(int level, const char* tag, const char* format, va_list arguments) {
  char text[2048];
  std::vsnprintf(text, sizeof text, format, arguments);
  const std::lock_guard<std::mutex> lock(mutex);
  Lines().push_back({level, tag, text});
  return 0;
}

namespace zolt::test {

std::vector<LogLine> TakeLogLines() {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::exchange(Lines(), {});
}

bool Contains(const std::vector<LogLine>& lines, int level, const std::string& text) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const LogLine& line) { return line.level == level && line.text == text; });
}

}  // namespace zolt::test
