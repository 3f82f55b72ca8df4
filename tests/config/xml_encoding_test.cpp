#include "config/xml_encoding.h"

#include <gtest/gtest.h>

#include <string>

namespace zolt {
namespace {

XmlEncoding Guess(std::string text, size_t length = 200) {
  text.resize(length, ' ');
  return GuessXmlEncoding(text.data(), length, true);
}

std::string Declared(const std::string& name) {
  return "<?xml version=\"1.0\" encoding=\"" + name + "\"?>";
}

TEST(XmlEncoding, TheDeclarationDecidesUnlessItIsAboutUtf8) {
  const std::string broken = "\xC3(";  // no continuation byte
  EXPECT_EQ(Guess(Declared("UTF-8")), kUtf8);
  EXPECT_EQ(Guess(Declared("utf8")), kUtf8);
  EXPECT_EQ(Guess(Declared("utf-8") + broken), kKeepEncoding);
  EXPECT_EQ(Guess(Declared("SJIS") + broken), kShiftJis);
  EXPECT_EQ(Guess(Declared("Shift_JIS")), kPlainBytes);
  EXPECT_EQ(Guess(Declared("shiftjis")), kShiftJis);
  EXPECT_EQ(Guess(Declared("Shift-JIS")), kShiftJis);
  EXPECT_EQ(Guess(Declared("gb2312")), kGb2312);
  EXPECT_EQ(Guess(Declared("gb18030")), kPlainBytes);
  EXPECT_EQ(Guess(Declared("BIG5-HKSCS")), kBig5);
  EXPECT_EQ(Guess(Declared("gbk")), kGbk);
  EXPECT_EQ(Guess(Declared("")), kPlainBytes);
  EXPECT_EQ(Guess("encoding \t=\r\n'  gbk"), kGbk);
}

TEST(XmlEncoding, WithoutAReadableDeclarationTheBytesDecide) {
  EXPECT_EQ(Guess("<?xml version='1.0'?>"), kUtf8);
  EXPECT_EQ(Guess("\xC3(,"), kPlainBytes);
  EXPECT_EQ(Guess("encoding gbk"), kUtf8);
  EXPECT_EQ(Guess("encoding=gbk"), kUtf8);
  EXPECT_EQ(Guess("ENCODING='gbk'"), kUtf8);
  EXPECT_EQ(Guess("encodings='gbk' encoding='gbk'"), kUtf8);  // the first place counts
  EXPECT_EQ(Guess("\xE4 \xF5\x80"), kPlainBytes);
  EXPECT_EQ(Guess("\x80\xC1\xFF"), kUtf8);  // bytes that begin nothing are one character each
  const std::string declared = Declared("gbk");
  EXPECT_EQ(GuessXmlEncoding(declared.data(), declared.size(), false), kUtf8);
  std::string cut(199, ' ');
  EXPECT_EQ(Guess(cut + "\xE4"), kUtf8);  // its continuation is out of sight
}

TEST(XmlEncoding, SixteenBitTextAndShortTextSayNothing) {
  EXPECT_EQ(Guess(Declared("gbk"), 24), kKeepEncoding);
  EXPECT_EQ(Guess("\xFF\xFE<"), kKeepEncoding);
  EXPECT_EQ(Guess("\xFE\xFF<"), kKeepEncoding);
  EXPECT_EQ(Guess("\xFF\xFE<", 201), kUtf8);  // an odd length can't be 16-bit text
  EXPECT_EQ(Guess("\xEF\xBB\xBF\xC3("), kUtf8);
  std::string words(200, ' ');
  for (size_t i = 0; i < 26; ++i) words.replace(4 * i, 4, std::string("a\0\0\0", 4));
  EXPECT_EQ(Guess(words), kKeepEncoding);
  words.replace(0, 4, "    ");
  EXPECT_EQ(Guess(words), kUtf8);
  words.replace(0, 4, std::string(4, '\0'));
  EXPECT_EQ(Guess(words), kKeepEncoding);
}

TEST(XmlEncoding, CharacterLengths) {
  struct Range {
    XmlEncoding encoding;
    int first, last, length;
  };
  const Range ranges[] = {
      {kUtf8, 1, 193, 1},       {kUtf8, 194, 223, 2},     {kUtf8, 224, 239, 3},     {kUtf8, 240, 244, 4},
      {kUtf8, 245, 255, 1},     {kPlainBytes, 1, 255, 1}, {kShiftJis, 1, 128, 1},   {kShiftJis, 129, 159, 2},
      {kShiftJis, 160, 223, 1}, {kShiftJis, 224, 239, 2}, {kShiftJis, 240, 255, 1}, {kGb2312, 1, 160, 1},
      {kGb2312, 161, 247, 2},   {kGb2312, 248, 255, 1},   {kBig5, 1, 128, 1},       {kBig5, 129, 254, 2},
      {kBig5, 255, 255, 1},     {kGbk, 1, 128, 1},        {kGbk, 129, 254, 2},      {kGbk, 255, 255, 1}};
  for (const Range& r : ranges) {
    SetXmlEncoding(r.encoding);
    SetXmlEncoding(kKeepEncoding);
    EXPECT_EQ(CurrentXmlEncoding(), r.encoding);
    for (int c = r.first; c <= r.last; ++c) {
      EXPECT_EQ(XmlCharacterLength(static_cast<char>(c)), r.length) << r.encoding << " " << c;
    }
    EXPECT_EQ(XmlCharacterLength(0), 0);
  }
  SetXmlEncoding(kUtf8);
  const char* cut = "\xF0\x90";
  EXPECT_EQ(NextXmlCharacter(cut), cut + 2);
}

}  // namespace
}  // namespace zolt
