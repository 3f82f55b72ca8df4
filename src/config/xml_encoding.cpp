#include "config/xml_encoding.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "config/xml_text.h"

namespace zolt {
namespace {

struct LengthRange {
  uint8_t last;  // first bytes up to this one, from the end of the range before
  uint8_t length;
};
using LengthTable = std::array<uint8_t, 256>;

template <size_t N>
constexpr LengthTable MakeTable(const LengthRange (&ranges)[N]) {
  LengthTable table = {};
  size_t first = 1;
  for (const LengthRange& range : ranges) {
    for (; first <= range.last; ++first) table[first] = range.length;
  }
  return table;
}

constexpr LengthRange kUtf8Ranges[] = {{193, 1}, {223, 2}, {239, 3}, {244, 4}, {255, 1}};
constexpr LengthRange kPlainRanges[] = {{255, 1}};
constexpr LengthRange kShiftJisRanges[] = {{128, 1}, {159, 2}, {223, 1}, {239, 2}, {255, 1}};
constexpr LengthRange kGb2312Ranges[] = {{160, 1}, {247, 2}, {255, 1}};
constexpr LengthRange kGbkRanges[] = {{128, 1}, {254, 2}, {255, 1}};

constexpr LengthTable kPlainTable = MakeTable(kPlainRanges);
constexpr LengthTable kUtf8Table = MakeTable(kUtf8Ranges);
// Indexed by XmlEncoding.
constexpr LengthTable kTables[] = {kPlainTable,
                                   kUtf8Table,
                                   kPlainTable,
                                   MakeTable(kShiftJisRanges),
                                   MakeTable(kGb2312Ranges),
                                   MakeTable(kGbkRanges),
                                   MakeTable(kGbkRanges)};

XmlEncoding current_encoding = kUtf8;

constexpr size_t kDeclarationReach = 200;
constexpr size_t kMinimumGuessLength = 25;
constexpr size_t kMaximumWideWords = 256;

uint8_t Byte(const char* bytes, size_t i) {
  return static_cast<uint8_t>(bytes[i]);
}

// 16-bit text shows as a byte order mark, or as 32-bit words with empty upper halves. Words are little-endian
// on every machine, so that a file means the same everywhere.
bool LooksWide(const char* bytes, size_t length) {
  const uint32_t mark = Byte(bytes, 0) | static_cast<uint32_t>(Byte(bytes, 1)) << 8;
  if (mark == 0xFEFF || mark == 0xFFFE) return true;
  const size_t words = std::min(length / 4, kMaximumWideWords);
  size_t narrow = 0;
  for (size_t i = 0; i < words; ++i) {
    const char* word = bytes + 4 * i;
    const bool upper_empty = word[1] == 0 && word[2] == 0 && word[3] == 0;
    if (upper_empty && word[0] == 0) return true;
    if (upper_empty) ++narrow;
  }
  return narrow > words / 2;
}

bool IsValidUtf8(const char* bytes, size_t length) {
  for (size_t i = 0; i < length;) {
    const size_t step = kUtf8Table[Byte(bytes, i)];
    if (step == 0) break;
    for (size_t k = i + 1; k < std::min(i + step, length); ++k) {
      if ((Byte(bytes, k) & 0xC0) != 0x80) return false;
    }
    i += step;
  }
  return true;
}

void SkipBlanks(std::string_view* text) {
  while (!text->empty() && IsXmlBlank(text->front())) text->remove_prefix(1);
}

bool SkipOneOf(std::string_view* text, std::string_view wanted) {
  SkipBlanks(text);
  if (text->empty() || wanted.find(text->front()) == std::string_view::npos) return false;
  text->remove_prefix(1);
  return true;
}

// The declared encoding, or `state` if none is declared.
XmlEncoding DeclaredEncoding(std::string_view head, XmlEncoding state) {
  constexpr std::string_view kAttribute = "encoding";
  const size_t at = head.find(kAttribute);
  if (at == std::string_view::npos) return state;
  head.remove_prefix(at + kAttribute.size());
  if (!SkipOneOf(&head, "=") || !SkipOneOf(&head, "\"'")) return state;
  SkipBlanks(&head);

  struct Name {
    std::string_view name;
    XmlEncoding encoding;
  };
  constexpr Name kNames[] = {{"utf-8", kUtf8},         {"utf8", kUtf8},     {"shiftjis", kShiftJis},
                             {"shift-jis", kShiftJis}, {"sjis", kShiftJis}, {"GB2312", kGb2312},
                             {"Big5", kBig5},          {"GBK", kGbk}};
  for (const Name& known : kNames) {
    if (!StartsWithNoCase(head, known.name)) continue;
    return known.encoding == kUtf8 && state != kUtf8 ? kKeepEncoding : known.encoding;
  }
  return kPlainBytes;
}

}  // namespace

XmlEncoding CurrentXmlEncoding() {
  return current_encoding;
}

void SetXmlEncoding(XmlEncoding encoding) {
  if (encoding != kKeepEncoding) current_encoding = encoding;
}

int XmlCharacterLength(char first) {
  return kTables[current_encoding][static_cast<uint8_t>(first)];
}

const char* NextXmlCharacter(const char* text) {
  for (int left = XmlCharacterLength(*text); left > 0 && *text != 0; --left) ++text;
  return text;
}

XmlEncoding GuessXmlEncoding(const char* bytes, size_t length, bool read_declaration) {
  if (length < kMinimumGuessLength) return kKeepEncoding;
  if (length % 2 == 0 && LooksWide(bytes, length)) return kKeepEncoding;
  if (Byte(bytes, 0) == 0xEF && Byte(bytes, 1) == 0xBB && Byte(bytes, 2) == 0xBF) return kUtf8;
  const XmlEncoding state = IsValidUtf8(bytes, length) ? kUtf8 : kPlainBytes;
  if (!read_declaration) return state;
  return DeclaredEncoding({bytes, std::min(length, kDeclarationReach)}, state);
}

}  // namespace zolt
