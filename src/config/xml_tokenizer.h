#pragma once

#include <string_view>

namespace zolt {

enum class XmlTokenKind {
  kText,
  kQuoted,            ///< with its quotes
  kTagStart,          ///< <
  kEndTagStart,       ///< </
  kTagClose,          ///< >
  kEquals,            ///< =
  kDeclarationStart,  ///< <?
  kShortClose,        ///< />
  kClear,             ///< the opening of a section that is kept as it is
  kEnd,
};

/// Brackets of a section that is kept as it is.
struct XmlClearTag {
  const char* open;
  const char* close;
};
inline constexpr char kCommentOpen[] = "<!--";
inline constexpr char kDoctypeOpen[] = "<!DOCTYPE";

struct XmlToken {
  XmlTokenKind kind;
  const char* begin;
  const char* end;
  const XmlClearTag* clear;  ///< for kClear, otherwise null

  std::string_view text() const { return {begin, static_cast<size_t>(end - begin)}; }
};

/// Cuts zero-terminated text into tokens. Blanks between tokens are skipped. Characters of several bytes are
/// stepped over whole, by the current encoding.
class XmlTokenizer {
 public:
  explicit XmlTokenizer(const char* text) : cursor_(text) {}
  XmlToken Next();

  const char* cursor() const { return cursor_; }
  void MoveTo(const char* cursor) { cursor_ = cursor; }

 private:
  const char* cursor_;
};

}  // namespace zolt
