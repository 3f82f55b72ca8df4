#include "config/configuration.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstring>
#include <string>

#include "config/xml_document.h"

namespace zolt {
namespace {

MfConfig Read(const std::string& inside_config) {
  std::string text = "<?xml version=\"1.0\"?><Config>" + inside_config + "</Config>";
  text.resize(std::max<size_t>(text.size(), 200), ' ');
  XmlDocument document;
  EXPECT_TRUE(document.LoadBytes(text.data(), text.size()));
  MfConfig config;
  std::memset(&config, 0x5A, sizeof(config));
  EXPECT_EQ(FillConfig(&config, document), 0);
  return config;
}

TEST(Configuration, AnEmptyFileGivesTheDefaults) {
  const MfConfig config = Read("");
  const int32_t iso_values[] = {50, 200, 400, 800, 1600, 2400, 3200, 4950};
  for (int i = 0; i < kIsoBands; ++i) {
    IsoBand expected = {iso_values[i], 1,   0,   -90, -128, -128, -128, -90, -128, {}, 30,
                        100,           100, 100, 100, 2550, 0,    0,    0,   0,    0};
    EXPECT_EQ(std::memcmp(&config.bands[i], &expected, sizeof(expected)), 0) << i;
  }
  const int32_t globals[] = {0, 255, 1, 0, 16, 16, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1};
  EXPECT_EQ(std::memcmp(&config.enhancementLevel, globals, sizeof(globals)), 0);
}

TEST(Configuration, APathThatBreaksOffCostsThatKeyAlone) {
  const MfConfig config = Read(
      "<NoiseReduction><ISO1><lumaLF>-10</lumaLF></ISO1><ISO2><lumaLF><b>1</b></lumaLF><detail>-1</detail></"
      "ISO2>"
      "<ISO3><lumaLF value=\"-10\"/></ISO3><iso4><LUMAlf>-11</LUMAlf><lumaLF>-12</lumaLF></iso4>"
      "<ISO5><lumaLF><![CDATA[-10]]></lumaLF></ISO5></NoiseReduction>");
  const int32_t expected[] = {-10, -90, -90, -11, -90};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(config.bands[i].lumaLF, expected[i]) << i;
  EXPECT_EQ(config.bands[1].detail, -1);
}

TEST(Configuration, IntegersAreReadFromTheFrontOfTheText) {
  struct Case {
    const char* text;
    int32_t value;
  };
  const Case cases[] = {{"12", 12},
                        {" \t\v\f\r\n-7 ", -7},
                        {"+5x", 5},
                        {"0x10", 0},
                        {"1e3", 1},
                        {"007", 7},
                        {"2.9", 2},
                        {"x1", 99},
                        {"- 1", 99},
                        {"--1", 99},
                        {"", 99},
                        {"-", 99},
                        {"2147483647", INT32_MAX},
                        {"2147483648", INT32_MAX},
                        {"-2147483648", INT32_MIN},
                        {"-2147483649", INT32_MIN},
                        {"99999999999999999999999", INT32_MAX}};
  for (const Case& c : cases) EXPECT_EQ(IntFromText(c.text, 99), c.value) << c.text;
  EXPECT_EQ(IntFromText(nullptr, 99), 99);
}

TEST(Configuration, FloatsAreReadWithAPointInEveryLocale) {
  for (const char* name : {"C", "de_DE.UTF-8", "fr_FR.UTF-8"}) {
    if (std::setlocale(LC_ALL, name) == nullptr) continue;
    EXPECT_EQ(FloatFromText("0.25", 9), 0.25f);
    EXPECT_EQ(FloatFromText("0,25", 9), 0.0f);
  }
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ(FloatFromText(" -1.5e2x", 9), -150.0f);
  EXPECT_EQ(FloatFromText("0x1.8p1", 9), 3.0f);
  EXPECT_EQ(FloatFromText("inf", 9), INFINITY);
  EXPECT_EQ(FloatFromText("1e99", 9), INFINITY);
  EXPECT_TRUE(std::isnan(FloatFromText("NaN", 9)));
  EXPECT_EQ(FloatFromText(".", 9), 9.0f);
  EXPECT_EQ(FloatFromText("", 9), 9.0f);
  EXPECT_EQ(FloatFromText(nullptr, 9), 9.0f);
}

TEST(Configuration, ListsEndAtTheFirstEntryThatIsNoInteger) {
  struct Case {
    const char* text;
    int32_t values[5];
    int count;
  };
  const Case cases[] = {{"1 -2\t+3\n4 5 6", {1, -2, 3, 4, 5}, 5},
                        {"1 2", {1, 2, 0, 0, 0}, 2},
                        {"1,2,3", {1, 0, 0, 0, 0}, 1},
                        {"1 x 3", {1, 0, 0, 0, 0}, 1},
                        {"1.5 2", {1, 0, 0, 0, 0}, 1},
                        {"7-3", {7, -3, 0, 0, 0}, 2},
                        {"1 99999999999 3", {1, INT32_MAX, 0, 0, 0}, 2},
                        {"", {}, 0}};
  for (const Case& c : cases) {
    int32_t values[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(IntListFromText(c.text, values, 5), c.count) << c.text;
    EXPECT_EQ(std::memcmp(values, c.values, sizeof(values)), 0) << c.text;
  }
}

}  // namespace
}  // namespace zolt
