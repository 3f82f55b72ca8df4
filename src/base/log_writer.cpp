// A file of its own, so that a test that defines the symbol keeps this object out of its link.
#include <cstdarg>
#include <cstdio>

#include "base/log.h"

#ifdef __ANDROID__
#include <android/log.h>

extern "C" int zolt_log_vprint(int level, const char* tag, const char* format, va_list arguments) {
  return __android_log_vprint(level, tag, format, arguments);
}

#else

extern "C" int zolt_log_vprint(int level, const char* tag, const char* format, va_list arguments) {
  constexpr int kError = 6;
  if (level < kError) return 0;
  char line[1024];
  std::vsnprintf(line, sizeof line, format, arguments);
  return std::fprintf(stderr, "%s: %s\n", tag, line);
}

#endif
