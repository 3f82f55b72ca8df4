#include "config/configuration.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>

#include "config/config_keys.h"
#include "config/xml_document.h"

namespace zolt {
namespace {

// What the C library takes for white space in the C locale.
bool IsSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

struct ScannedInteger {
  bool found;
  bool in_range;
  int32_t value;  // saturated if not in range
};

// A decimal integer behind optional white space; moves `*text` behind what belongs to it.
ScannedInteger ScanInteger(const char** text) {
  const char* p = *text;
  while (IsSpace(*p)) ++p;
  const bool negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  if (*p < '0' || *p > '9') return {false, false, 0};
  const int64_t limit = negative ? int64_t{INT32_MAX} + 1 : int64_t{INT32_MAX};
  int64_t value = 0;
  bool in_range = true;
  for (; *p >= '0' && *p <= '9'; ++p) {
    value = 10 * value + (*p - '0');
    in_range = in_range && value <= limit;
    value = std::min(value, limit);
  }
  *text = p;
  return {true, in_range, static_cast<int32_t>(negative ? -value : value)};
}

int32_t ReadIntKey(const XmlDocument& document, const char* path, int32_t fallback) {
  return IntFromText(document.FindText(path), fallback);
}

float ReadFloatKey(const XmlDocument& document, const char* path, float fallback) {
  return FloatFromText(document.FindText(path), fallback);
}

void ReadIntList(const XmlDocument& document, const char* path, int32_t* values, int count) {
  IntListFromText(document.FindText(path), values, count);
}

}  // namespace

int32_t IntFromText(const char* text, int32_t fallback) {
  if (text == nullptr) return fallback;
  const ScannedInteger scanned = ScanInteger(&text);
  return scanned.found ? scanned.value : fallback;
}

float FloatFromText(const char* text, float fallback) {
  if (text == nullptr) return fallback;
  const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  if (c_locale == nullptr) return fallback;
  char* end = nullptr;
  const float value = strtof_l(text, &end, c_locale);
  freelocale(c_locale);
  return end != text ? value : fallback;
}

int IntListFromText(const char* text, int32_t* values, int count) {
  std::fill(values, values + count, 0);
  if (text == nullptr) return 0;
  for (int i = 0; i < count; ++i) {
    const ScannedInteger scanned = ScanInteger(&text);
    if (!scanned.found) return i;
    values[i] = scanned.value;
    if (!scanned.in_range) return i + 1;
  }
  return count;
}

int32_t FillConfig(MfConfig* config, const XmlDocument& document) {
  for (int i = 0; i < kConfigKeys; ++i) {
    const ConfigKey key = ConfigKeyAt(i);
    switch (key.meaning->type) {
      case ConfigType::kInt:
        *IntAt(config, key) = ReadIntKey(document, key.path, key.fallback);
        break;
      case ConfigType::kFloat:
        *FloatAt(config, key) = ReadFloatKey(document, key.path, static_cast<float>(key.fallback));
        break;
      case ConfigType::kIntList:
        ReadIntList(document, key.path, IntAt(config, key), kChromaNrEntries);
        break;
    }
  }
  return 0;
}

}  // namespace zolt
