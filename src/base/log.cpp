#include "base/log.h"

#include <cstdarg>

namespace zolt {
namespace {

constexpr char kTag[] = "QRN_MFIS";
constexpr int kInfo = 4;
constexpr int kError = 6;

}  // namespace

void LogInfo(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  zolt_log_vprint(kInfo, kTag, format, arguments);
  va_end(arguments);
}

void LogError(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  zolt_log_vprint(kError, kTag, format, arguments);
  va_end(arguments);
}

}  // namespace zolt
