#pragma once

#include <cstddef>
#include <cstdint>

namespace zolt {

/// Character encodings of a tuning file. Only the lengths of characters matter here: they keep the second
/// byte of a character from being taken for markup.
enum XmlEncoding : int32_t {
  kKeepEncoding = 0,  ///< the guess has no opinion: whatever is set stays
  kUtf8 = 1,
  kPlainBytes = 2,
  kShiftJis = 3,
  kGb2312 = 4,
  kBig5 = 5,
  kGbk = 6,
};

/// The encoding that the parser steps by, process-wide; UTF-8 at the start. It outlives the document that set
/// it. Not thread-safe. Setting kKeepEncoding changes nothing.
XmlEncoding CurrentXmlEncoding();
void SetXmlEncoding(XmlEncoding encoding);

/// Length in bytes, 1 to 4, of the character that begins with this byte in the current encoding; 0 for the
/// zero byte.
int XmlCharacterLength(char first);

/// The character behind `text`, by the current encoding, but never beyond the zero byte that ends the text.
const char* NextXmlCharacter(const char* text);

/// Guesses from a file's first bytes. What looks like 16-bit text, or is too short to tell, gives
/// kKeepEncoding. Otherwise the bytes are tested as UTF-8, and with `read_declaration` an encoding="..."
/// among the first 200 bytes decides; it is believed when it says UTF-8 only if the bytes are.
XmlEncoding GuessXmlEncoding(const char* bytes, size_t length, bool read_declaration);

}  // namespace zolt
