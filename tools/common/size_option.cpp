#include "common/size_option.h"

#include <charconv>

#include "common/errors.h"

namespace zolt {

std::pair<int, int> ParseSize(const std::string& text, const std::string& option) {
  int width = 0;
  int height = 0;
  const char* end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, width);
  bool good = first.ec == std::errc() && first.ptr != end && (*first.ptr == 'x' || *first.ptr == 'X');
  if (good) {
    const auto second = std::from_chars(first.ptr + 1, end, height);
    good = second.ec == std::errc() && second.ptr == end;
  }
  good = good && width >= 1 && height >= 1 && width <= 65535 && height <= 65535;
  if (!good) FailUsage(option + " " + text + ": give width x height in pixels, like 1920x1080");
  return {width, height};
}

uint64_t ParseBytes(const std::string& text, const std::string& option) {
  uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  int shift = 0;
  if (parsed.ec == std::errc() && parsed.ptr + 1 == end) {
    const char unit = *parsed.ptr;
    shift = unit == 'K' || unit == 'k'   ? 10
            : unit == 'M' || unit == 'm' ? 20
            : unit == 'G' || unit == 'g' ? 30
                                         : 0;
  }
  const bool whole = parsed.ec == std::errc() && parsed.ptr + (shift > 0 ? 1 : 0) == end;
  if (!whole || number == 0 || number > UINT64_MAX >> shift)
    FailUsage(option + " " + text + ": give bytes as a whole number, with K, M or G behind it, like 800M");
  return number << shift;
}

}  // namespace zolt
