#pragma once

#include <string_view>

#include "config/xml_node.h"

namespace zolt {

/// Why a document did not parse. Up to kNoElement the tree stands all the same.
enum XmlError : int {
  kXmlOk = 0,
  kEndTagMissing = 1,
  kNoElement = 2,
  kUnreadable = 3,  ///< the file can't be sized, or there is no memory for it
  kTagWithoutName = 4,
  kEndTagNotClosed = 5,  ///< no ">" behind an end tag's name
  kEndTagAtTop = 6,
  kClearNotClosed = 7,   ///< a comment, CDATA or DOCTYPE section without its end
  kUnexpectedToken = 8,  ///< in a tag; also nesting that is too deep
  kNoText = 9,
  kCannotOpen = 10,
  kUnknownEntity = 12,
  kEntityTooLarge = 13,  ///< "&#...;" above 255
};

/// Space, tab, carriage return and line feed; no other character separates anything.
constexpr bool IsXmlBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// Comparisons that take "A" to "Z" for small letters, whatever the process's locale.
bool EqualsNoCase(std::string_view a, std::string_view b);
bool StartsWithNoCase(std::string_view text, std::string_view prefix);

std::string_view TrimBlanks(std::string_view text);

/// Appends `text` to `out` with its entities replaced: the five named ones, and numeric ones that stand for
/// one byte each. A zero byte ends the string for its readers. kUnknownEntity or kEntityTooLarge; a refused
/// allocation appends nothing and is no error, but clears `*stored`.
XmlError DecodeEntities(std::string_view text, XmlString* out, bool* stored);

}  // namespace zolt
