#pragma once

namespace zolt {

/// Platform log lines with the library's tag. Printf format; no trailing newline. Safe on any thread.
void LogInfo(const char* format, ...) __attribute__((format(printf, 1, 2)));
void LogError(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace zolt

/// The one symbol behind both: Android's log on a phone; elsewhere errors go to standard error and info lines
/// are dropped. Same arguments as __android_log_vprint. Tests replace it at link time to read the lines.
extern "C" int zolt_log_vprint(int level, const char* tag, const char* format, __builtin_va_list arguments);
