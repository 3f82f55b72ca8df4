#include "config/xml_document.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "config/configuration.h"
#include "config/xml_encoding.h"

// The document takes all its memory by this form of new; the tests let the k-th call fail.
namespace {

int calls_until_failure = -1;

bool RefuseNow() {
  return calls_until_failure >= 0 && calls_until_failure-- == 0;
}

}  // namespace

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return RefuseNow() ? nullptr : ::operator new(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return RefuseNow() ? nullptr : ::operator new[](size);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  ::operator delete(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  ::operator delete[](block);
}

namespace zolt {
namespace {

const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
const std::string kConfig = "<Config><Global><NoiseReductionFlag>0</NoiseReductionFlag></Global></Config>";
constexpr char kFlagPath[] = "/Config/Global/NoiseReductionFlag";

class XmlDocumentTest : public testing::Test {
 protected:
  XmlDocumentTest()
      : folder_(std::filesystem::temp_directory_path() / ("zolt_xml_" + std::to_string(::getpid()))) {
    std::filesystem::create_directories(folder_);
    SetXmlEncoding(kUtf8);
  }
  ~XmlDocumentTest() override { std::filesystem::remove_all(folder_); }

  std::string Write(const std::string& name, std::string content, size_t length = 400) {
    content.resize(length, ' ');
    const std::string path = (folder_ / name).string();
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  std::filesystem::path folder_;
};

TEST_F(XmlDocumentTest, LoadsFrom200BytesUp) {
  XmlDocument document;
  EXPECT_FALSE(document.LoadConfig(Write("short", kDeclaration + kConfig, 199).c_str()));
  EXPECT_EQ(document.error(), kXmlOk);
  EXPECT_TRUE(document.LoadConfig(Write("long", kDeclaration + kConfig, 200).c_str()));
  EXPECT_STREQ(document.FindText(kFlagPath), "0");
}

TEST_F(XmlDocumentTest, KeysAreFoundOnlyBelowADeclarationThatComesFirst) {
  struct Case {
    std::string content;
    bool found;
  };
  const Case cases[] = {{kDeclaration + kConfig, true},
                        {"\xEF\xBB\xBF" + kDeclaration + kConfig, true},
                        {"\r\n\t " + kDeclaration + "<!-- c -->" + kConfig, true},
                        {kDeclaration + kConfig.substr(0, 58), true},
                        {kConfig, false},
                        {"<!-- c -->" + kDeclaration + kConfig, false},
                        {"not XML at all", false},
                        {std::string(400, '\0'), false}};
  int number = 0;
  for (const Case& c : cases) {
    XmlDocument document;
    EXPECT_TRUE(document.LoadConfig(Write(std::to_string(++number), c.content).c_str())) << c.content;
    EXPECT_EQ(document.FindText(kFlagPath) != nullptr, c.found) << c.content;
  }
}

TEST_F(XmlDocumentTest, WhatCannotBeReadFailsAndLeavesNothing) {
  XmlDocument document;
  ASSERT_TRUE(document.LoadConfig(Write("good", kDeclaration + kConfig).c_str()));
  EXPECT_FALSE(document.LoadConfig(nullptr));
  EXPECT_FALSE(document.LoadConfig((folder_ / std::string(256, 'x')).c_str()));
  EXPECT_TRUE(document.root());  // such names are turned down before anything happens
  EXPECT_FALSE(document.LoadConfig((folder_ / "missing").c_str()));
  EXPECT_EQ(document.error(), kCannotOpen);
  EXPECT_FALSE(document.root());
  EXPECT_FALSE(document.LoadConfig(folder_.c_str()));
  EXPECT_FALSE(document.LoadConfig(Write("bad", kDeclaration + "<Config>&oops;</Config>").c_str()));
  EXPECT_EQ(document.error(), kUnknownEntity);
  EXPECT_FALSE(document.LoadConfig(""));
}

TEST_F(XmlDocumentTest, TheSamePathIsNotReadAgain) {
  XmlDocument document;
  const std::string path = Write("good", kDeclaration + kConfig);
  ASSERT_TRUE(document.LoadConfig(path.c_str()));
  Write("good", "", 10);
  EXPECT_TRUE(document.LoadConfig(path.c_str()));
  EXPECT_FALSE(document.LoadConfig((folder_ / "missing").c_str()));
  EXPECT_FALSE(document.LoadConfig(path.c_str()));
}

TEST_F(XmlDocumentTest, TheEncodingStaysForLaterFilesThatTellNone) {
  XmlDocument document;
  std::string gbk = kDeclaration + kConfig;
  gbk.replace(gbk.find("utf-8"), 5, "gbk");
  ASSERT_TRUE(document.LoadConfig(Write("gbk", gbk).c_str()));
  EXPECT_EQ(CurrentXmlEncoding(), kGbk);
  // Says UTF-8 and is not: no opinion.
  ASSERT_TRUE(document.LoadConfig(Write("unclear", kDeclaration + "<a>\x81<\xC3(</a>").c_str()));
  EXPECT_EQ(CurrentXmlEncoding(), kGbk);
  ASSERT_TRUE(document.LoadConfig(Write("plain", "<?xml?><a>\xC3(</a>").c_str()));
  EXPECT_EQ(CurrentXmlEncoding(), kPlainBytes);
}

TEST_F(XmlDocumentTest, ARefusedAllocationLosesOneItemAndNoMore) {
  const std::string content = kDeclaration +
                              "<Config a=\"1\"><!-- c --><Global>1<!-- d -->2<NoiseReductionFlag>0"
                              "</NoiseReductionFlag></Global><Late><key>7</key></Late></Config>" +
                              std::string(200, ' ');
  int loaded = 0;
  int late_found = 0;
  int complete = 0;
  for (int k = 0; k < 200; ++k) {
    XmlDocument document;
    calls_until_failure = k;
    const bool ok = document.LoadBytes(content.data(), content.size());
    const bool failed = calls_until_failure < 0;
    calls_until_failure = -1;
    EXPECT_EQ(ok, static_cast<bool>(document.root()));
    MfConfig config;
    FillConfig(&config, document);
    const bool late = document.FindText("/Config/Late/key") != nullptr;
    loaded += ok;
    late_found += late;
    complete += late && config.NoiseReductionFlag == 0;
    if (!failed) {
      EXPECT_GT(k, 20);
      EXPECT_EQ(loaded, k + 1 - 2);     // all but the file's block and the wrapper
      EXPECT_GT(late_found, complete);  // some lost an early key and kept the later one
      EXPECT_TRUE(late && config.NoiseReductionFlag == 0);
      return;
    }
  }
  FAIL() << "never ran without a refusal";
}

}  // namespace
}  // namespace zolt
