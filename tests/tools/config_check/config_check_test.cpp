#include "config_check/config_check.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace zolt {
namespace {

const std::string kDeclaration = "<?xml version=\"1.0\"?>\n";

class ConfigCheck : public testing::Test {
 protected:
  ConfigCheck()
      : file_(std::filesystem::temp_directory_path() / ("zolt_" + std::to_string(getpid()) + ".xml")) {}
  ~ConfigCheck() override { std::filesystem::remove(file_); }

  ConfigReport Check(std::string content, size_t length = 400) {
    content.resize(std::max(content.size(), length), ' ');
    std::ofstream(file_, std::ios::binary) << content;
    return CheckConfig(file_.string());
  }

  // The only finding's "kind path suggestion", or how many there are.
  std::string Only(const std::string& content) {
    const ConfigReport report = Check(content);
    if (report.findings.size() != 1) return std::to_string(report.findings.size()) + " findings";
    EXPECT_EQ(report.verdict, kConfigQuestionable) << content;
    const ConfigFinding& f = report.findings[0];
    return f.kind + " " + f.path + " " + f.suggestion;
  }
  std::string Inside(const std::string& config) {
    return Only(kDeclaration + "<Config>" + config + "</Config>");
  }

  std::filesystem::path file_;
};

TEST_F(ConfigCheck, TheShippedFileIsFineAndComplete) {
  const ConfigReport report = CheckConfig(ZOLT_SOURCE_DIR "/config/multiframe.xml");
  EXPECT_EQ(report.verdict, kConfigFine);
  for (const ConfigFinding& f : report.findings) ADD_FAILURE() << f.kind << " " << f.path << " " << f.message;
  EXPECT_EQ(report.keys.size(), 184u);
  EXPECT_EQ(report.found(), 184);
}

TEST_F(ConfigCheck, FilesThatDoNotLoad) {
  EXPECT_EQ(CheckConfig("/nonexistent/multiframe.xml").verdict, kConfigUnreadable);
  EXPECT_EQ(CheckConfig("/tmp").verdict, kConfigUnreadable);
  ConfigReport report = Check(kDeclaration + "<Config/>", 199);
  EXPECT_EQ(report.verdict, kConfigRefused);
  EXPECT_EQ(report.findings.at(0).kind, "too-short");
  report = Check(kDeclaration + "<Config><a>1 & 2</a></Config>");
  EXPECT_EQ(report.verdict, kConfigRefused);
  EXPECT_EQ(report.findings.at(0).kind, "not-loadable");
  EXPECT_TRUE(report.keys.empty());
}

TEST_F(ConfigCheck, FilesWhoseKeysAreAllLost) {
  EXPECT_EQ(Only("<Config><Global/></Config>"), "no-declaration  ");
  EXPECT_EQ(Only("<!-- mine -->" + kDeclaration + "<Config/>"), "declaration-not-first  ");
  EXPECT_EQ(Only(kDeclaration + "<Configuration/>"), "no-config  /Config");
  EXPECT_EQ(Only("no tags at all"), "no-declaration  ");
}

TEST_F(ConfigCheck, FaultsOfSingleKeys) {
  EXPECT_EQ(Inside(""), "0 findings");
  EXPECT_EQ(Inside("<Global><NoiseReductionFlga>1</NoiseReductionFlga></Global>"),
            "unknown-key /Config/Global/NoiseReductionFlga /Config/Global/NoiseReductionFlag");
  EXPECT_EQ(Inside("<Global><maxGain>20</maxGain></Global>"),
            "unknown-key /Config/Global/maxGain /Config/LumaEnhancement/maxGain");
  EXPECT_EQ(Inside("<GostDetection><ISO1/><ISO2/></GostDetection>"),
            "unknown-key /Config/GostDetection /Config/GhostDetection");
  EXPECT_EQ(Inside("<Global><somethingElseEntirely>1</somethingElseEntirely></Global>"),
            "unknown-key /Config/Global/somethingElseEntirely ");
  EXPECT_EQ(Inside("<Global/><Global/>"), "duplicate /Config/Global ");
  const auto value = [this](const std::string& inner) {
    return Inside("<NoiseReduction><ISO2>" + inner + "</ISO2></NoiseReduction>");
  };
  EXPECT_EQ(value("<lumaLF>-100</lumaLF><LUMAhf1>0</LUMAhf1>"), "0 findings");
  EXPECT_EQ(value("<lumaLF>-101</lumaLF>"), "out-of-range /Config/NoiseReduction/ISO2/lumaLF ");
  EXPECT_EQ(value("<lumaLF value='-90'/>"), "no-value /Config/NoiseReduction/ISO2/lumaLF ");
  EXPECT_EQ(value("<lumaLF>weak</lumaLF>"), "not-a-number /Config/NoiseReduction/ISO2/lumaLF ");
  EXPECT_EQ(value("<lumaLF>-90.5</lumaLF>"), "ignored-text /Config/NoiseReduction/ISO2/lumaLF ");
  EXPECT_EQ(value("<chromaNrLUT>1 2 3</chromaNrLUT>"), "short-list /Config/NoiseReduction/ISO2/chromaNrLUT ");
  EXPECT_EQ(value("<isovalue>50</isovalue>"), "band-order /Config/NoiseReduction/ISO2/isovalue ");
  EXPECT_EQ(Inside("<ExposureFusion><Stable><ghostTH>nan</ghostTH></Stable></ExposureFusion>"),
            "out-of-range /Config/ExposureFusion/Stable/ghostTH ");
  EXPECT_EQ(Only(kDeclaration + "<Config><Global><x></Global></Config>").substr(0, 10), "2 findings");
}

TEST_F(ConfigCheck, ReportsTellValuesAndDefaults) {
  Check(kDeclaration +
        "<Config><ExposureFusion><Stable><ghostTH>0.25</ghostTH></Stable></ExposureFusion></Config>");
  std::ostringstream json;
  EXPECT_EQ(RunConfigCheck(file_.string(), true, json), kConfigFine);
  const nlohmann::json report = nlohmann::json::parse(json.str());
  EXPECT_EQ(report["found"], 1);
  EXPECT_EQ(report["keys"].size(), 184u);
  int seen = 0;
  for (const auto& key : report["keys"]) {
    if (key["path"] == "/Config/ExposureFusion/Stable/ghostTH") {
      EXPECT_EQ(key["value"], 0.25);
      EXPECT_TRUE(key["found"]);
      ++seen;
    } else if (key["path"] == "/Config/NoiseReduction/ISO8/isovalue") {
      EXPECT_EQ(key["value"], 4950);
      EXPECT_FALSE(key["found"]);
      ++seen;
    }
  }
  EXPECT_EQ(seen, 2);

  std::ostringstream table;
  RunConfigCheck(file_.string(), false, table);
  EXPECT_NE(table.str().find("1 of 184 keys found, 0 findings"), std::string::npos);
  EXPECT_NE(table.str().find("(50)      (200)     (400)"), std::string::npos);
}

TEST_F(ConfigCheck, TheSubcommandHandsOnTheVerdict) {
  Check("<Config/>");
  CLI::App app;
  int exit_code = -1;
  std::ostringstream out;
  AddConfigCheckCommand(app, &exit_code, out);
  const std::string file = file_.string();
  const char* arguments[] = {"zolt-burst", "config-check", file.c_str()};
  app.parse(3, arguments);
  EXPECT_EQ(exit_code, kConfigQuestionable);
  EXPECT_NE(out.str().find("no-declaration"), std::string::npos);
}

}  // namespace
}  // namespace zolt
