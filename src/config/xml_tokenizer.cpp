#include "config/xml_tokenizer.h"

#include <cstring>

#include "config/xml_encoding.h"
#include "config/xml_text.h"

namespace zolt {
namespace {

constexpr XmlClearTag kClearTags[] = {
    {"<![CDATA[", "]]>"}, {kDoctypeOpen, ">"}, {kCommentOpen, "-->"}, {"<PRE>", "</PRE>"}};

const char* TextEnd(const char* p) {
  p = NextXmlCharacter(p);
  while (*p != 0 && !IsXmlBlank(*p) && *p != '<' && *p != '=' && *p != '>' && !(p[0] == '/' && p[1] == '>')) {
    p = NextXmlCharacter(p);
  }
  return p;
}

// A quote that a "<" follows before it is closed is an apostrophe in running text; one that the file's end
// follows is a character of its own.
XmlToken TakeQuoted(const char* begin) {
  const char quote = *begin;
  for (const char* p = begin + 1; *p != 0; p = NextXmlCharacter(p)) {
    if (*p == quote) return {XmlTokenKind::kQuoted, begin, p + 1, nullptr};
    if (*p == '<') return {XmlTokenKind::kText, begin, TextEnd(begin), nullptr};
  }
  return {XmlTokenKind::kText, begin, begin + 1, nullptr};
}

XmlToken TakeBracket(const char* begin) {
  for (const XmlClearTag& tag : kClearTags) {
    const size_t length = std::strlen(tag.open);
    if (std::strncmp(begin, tag.open, length) == 0) {
      return {XmlTokenKind::kClear, begin, begin + length, &tag};
    }
  }
  if (begin[1] == '/') return {XmlTokenKind::kEndTagStart, begin, begin + 2, nullptr};
  if (begin[1] == '?') return {XmlTokenKind::kDeclarationStart, begin, begin + 2, nullptr};
  return {XmlTokenKind::kTagStart, begin, begin + 1, nullptr};
}

XmlToken TakeToken(const char* begin) {
  switch (*begin) {
    case 0:
      return {XmlTokenKind::kEnd, begin, begin, nullptr};
    case '"':
    case '\'':
      return TakeQuoted(begin);
    case '<':
      return TakeBracket(begin);
    case '>':
      return {XmlTokenKind::kTagClose, begin, begin + 1, nullptr};
    case '=':
      return {XmlTokenKind::kEquals, begin, begin + 1, nullptr};
    case '/':
      if (begin[1] == '>') return {XmlTokenKind::kShortClose, begin, begin + 2, nullptr};
      break;
    default:
      break;
  }
  return {XmlTokenKind::kText, begin, TextEnd(begin), nullptr};
}

}  // namespace

XmlToken XmlTokenizer::Next() {
  while (IsXmlBlank(*cursor_)) ++cursor_;
  const XmlToken token = TakeToken(cursor_);
  cursor_ = token.end;
  return token;
}

}  // namespace zolt
