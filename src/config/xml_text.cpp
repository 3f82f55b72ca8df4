#include "config/xml_text.h"

#include <algorithm>
#include <cstdint>

#include "config/xml_encoding.h"

namespace zolt {
namespace {

constexpr char ToLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

struct Entity {
  std::string_view name;
  char character;
};
constexpr Entity kEntities[] = {
    {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};

// -1 for a character that is no digit of this base.
int DigitValue(char c, int base) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = ToLower(c);
  return base == 16 && lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Takes "&#65;" or "&#x41;" off the front of `text`. No digits at all stand for a zero byte.
XmlError TakeNumeric(std::string_view* text, char* character) {
  text->remove_prefix(2);
  int base = 10;
  if (!text->empty() && ToLower(text->front()) == 'x') {
    base = 16;
    text->remove_prefix(1);
  }
  int value = 0;
  while (!text->empty() && text->front() != ';') {
    const int digit = DigitValue(text->front(), base);
    if (digit < 0) return kUnknownEntity;
    value = std::min(value * base + digit, 256);
    text->remove_prefix(1);
  }
  if (text->empty()) return kUnknownEntity;
  text->remove_prefix(1);
  if (value > 255) return kEntityTooLarge;
  *character = static_cast<char>(value);
  return kXmlOk;
}

XmlError TakeEntity(std::string_view* text, char* character) {
  if (text->size() > 1 && (*text)[1] == '#') return TakeNumeric(text, character);
  for (const Entity& entity : kEntities) {
    if (!StartsWithNoCase(*text, entity.name)) continue;
    text->remove_prefix(entity.name.size());
    *character = entity.character;
    return kXmlOk;
  }
  return kUnknownEntity;
}

}  // namespace

bool EqualsNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && StartsWithNoCase(a, b);
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin(),
                                                    [](char a, char b) { return ToLower(a) == ToLower(b); });
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && IsXmlBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsXmlBlank(text.back())) text.remove_suffix(1);
  return text;
}

XmlError DecodeEntities(std::string_view text, XmlString* out, bool* stored) {
  // No entity is shorter than the byte that it stands for, so this room is enough.
  if (!out->Reserve(text.size())) *stored = false;
  while (!text.empty()) {
    if (text.front() == '&') {
      char character = 0;
      const XmlError error = TakeEntity(&text, &character);
      if (error != kXmlOk) return error;
      if (*stored) out->AppendReserved({&character, 1});
      continue;
    }
    const size_t length = static_cast<size_t>(XmlCharacterLength(text.front()));
    const size_t step = std::min(std::max<size_t>(length, 1), text.size());
    if (*stored) out->AppendReserved(text.substr(0, step));
    text.remove_prefix(step);
  }
  return kXmlOk;
}

}  // namespace zolt
