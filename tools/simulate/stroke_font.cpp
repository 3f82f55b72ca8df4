#include "simulate/stroke_font.h"

#include <array>

namespace zolt {
namespace {

// Each letter is a set of lines, each line a run of points, each point two digits: column, row.
constexpr std::array<const char*, 26> kLetters = {
    "062046 1434",                // A
    "06003041423303 3344453606",  // B
    "4130100105163645",           // C
    "06003041453606",             // D
    "40000646 0333",              // E
    "400006 0333",                // F
    "41301001051636454323",       // G
    "0006 4046 0343",             // H
    "2026 1030 1636",             // I
    "4045361605",                 // J
    "0006 400346",                // K
    "000646",                     // L
    "0600234046",                 // M
    "06004640",                   // N
    "103041453616050110",         // O
    "06003041423303",             // P
    "103041453616050110 2446",    // Q
    "06003041423303 2346",        // R
    "413010010213334445361605",   // S
    "0040 2026",                  // T
    "000516364540",               // U
    "002640",                     // V
    "0016233640",                 // W
    "0046 4006",                  // X
    "002340 2326",                // Y
    "00400646",                   // Z
};

constexpr std::array<const char*, 10> kDigits = {
    "103041453616050110",                   // 0
    "112026 1636",                          // 1
    "01103041420646",                       // 2
    "0110304142334445361605 1333",          // 3
    "36300444",                             // 4
    "400003334445361605",                   // 5
    "4130100105163645443303",               // 6
    "004026",                               // 7
    "103041423344453616050413020110 1333",  // 8
    "43130201103041453616",                 // 9
};

std::string GlyphOf(char c) {
  if (c >= 'A' && c <= 'Z') return kLetters[c - 'A'];
  if (c >= '0' && c <= '9') return kDigits[c - '0'];
  if (c == '-') return "1333";
  if (c == '.') return "2626";
  return "";
}

void AddGlyph(std::vector<Stroke>& out, const std::string& glyph, float left) {
  for (size_t i = 0; i + 3 < glyph.size(); i += 2) {
    if (glyph[i] == ' ') ++i;
    if (glyph[i + 2] == ' ') continue;
    const auto at = [&](size_t k) { return static_cast<float>(glyph[k] - '0'); };
    out.push_back({left + at(i), at(i + 1), left + at(i + 2), at(i + 3)});
  }
}

}  // namespace

std::vector<Stroke> TextStrokes(const std::string& text) {
  std::vector<Stroke> out;
  for (size_t i = 0; i < text.size(); ++i) AddGlyph(out, GlyphOf(text[i]), 6.0f * static_cast<float>(i));
  return out;
}

}  // namespace zolt
