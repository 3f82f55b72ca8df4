// The program as the shell sees it: arguments in, exit code, text and files out.
#include <nlohmann/json.hpp>

#include "common/file_io.h"
#include "compare/quality.h"
#include "denoise/denoise_run.h"
#include "media/media_read.h"
#include "media/media_write.h"
#include "tools/support/tool_program.h"

namespace zolt {
namespace {

using ZoltBurst = ToolProgram;

TEST_F(ZoltBurst, HelpHasExamplesAndBadUsageEndsWith1) {
  for (const char* command : {"denoise", "simulate", "compare", "report", "batch"}) {
    EXPECT_EQ(Run({command, "--help"}), kExitDone);
    EXPECT_NE(out_.find("Examples:"), std::string::npos) << command;
  }
  const std::vector<std::vector<std::string>> bad = {
      {},
      {"polish"},
      {"denoise"},
      {"denoise", "a.png", "b.png"},
      {"denoise", "a.png", "b.png", "-o", "c.gif"},
      {"denoise", "a.png", "b.png", "-o", "c.png", "--iso", "fast"},
      {"denoise", "a.png", "b.png", "-o", "c.png", "--iso", "-5"},
      {"denoise", "a.png", "b.png", "-o", "c.png", "--format", "rgb"},
      {"denoise", "a.png", "b.png", "-o", "c.png", "--fusion", "maybe"},
      {"simulate", "-o", Path("x"), "--frames", "11"},
      {"simulate", "-o", Path("x"), "--motion", "nan"},
      {"simulate", "-o", Path("x"), "--last-ev", "9"},
      {"simulate", "-o", Path("x"), "--crop", "10x10"},
      {"simulate", "-o", Path("x"), "--seed", "-1"},
      {"compare", "a.png"},
      {"report", "a.png", "b.png"},
      {"report", "a.png", "b.png", "-o", "c.html", "--crop", "1"},
      {"compare", "a.png", "b.png", "--gain", "nan"},
  };
  for (const auto& arguments : bad) {
    EXPECT_EQ(Run(arguments), kExitUsage) << ::testing::PrintToString(arguments);
    EXPECT_FALSE(err_.empty());
  }
  EXPECT_EQ(FilesInFolder(), 0u);
}

TEST_F(ZoltBurst, MissingFilesEndWith2) {
  EXPECT_EQ(Run({"denoise", Path("a.png"), Path("b.png"), "-o", Path("c.png")}), kExitFile);
  EXPECT_EQ(Run({"denoise", Path("a.png"), Path("b.png"), "-o", Path("no/c.png")}), kExitFile);
  EXPECT_EQ(Run({"simulate", Path("a.png"), "-o", Path("burst")}), kExitFile);
  EXPECT_EQ(Run({"compare", Path("a.png"), Path("b.png")}), kExitFile);
  EXPECT_NE(err_.find("a.png"), std::string::npos);
  EXPECT_EQ(FilesInFolder(), 0u);
}

TEST_F(ZoltBurst, ASimulatedBurstComesOutCleaner) {
  Simulate({"--motion", "0", "--white"});
  ASSERT_EQ(Run({"denoise", Path("burst"), "-o", Path("clean.png"), "--maps", Path("maps"), "--json"}),
            kExitDone)
      << err_;
  const auto told = nlohmann::json::parse(out_);
  EXPECT_EQ(told["iso"], 3200);
  EXPECT_EQ(told["iso_source"], "burst.json");
  EXPECT_EQ(told["frames"].size(), 4u);
  const YuvPicture truth = ReadPicture(Path("burst/truth.png"));
  const Quality before = CompareQuality(ReadPicture(Path("burst/frame-0.png")), truth);
  const Quality after = CompareQuality(ReadPicture(Path("clean.png")), truth);
  EXPECT_GT(after.psnr_luma, before.psnr_luma + 2);
  EXPECT_GT(after.ssim_luma, before.ssim_luma + 0.02);
  for (const char* map : {"aligned-1.png", "ghost-3.png", "weight-2.png"}) {
    const YuvPicture picture = ReadPicture(Path(std::string("maps/") + map));
    EXPECT_EQ(picture.width, 264) << map;
    EXPECT_EQ(picture.height, 200) << map;
  }
  ASSERT_EQ(Run({"compare", Path("clean.png"), Path("clean.png"), "--json"}), kExitDone);
  EXPECT_TRUE(nlohmann::json::parse(out_)["psnr_luma"].is_null());
}

TEST_F(ZoltBurst, TheLayoutChangesNothingAndAnySizeIsTaken) {
  std::vector<std::string> frames;
  for (int i = 0; i < 3; ++i) {
    frames.push_back(Path("f" + std::to_string(i) + ".y4m"));
    WritePicture(frames.back(), RandomPicture(203, 151, 1 + static_cast<uint64_t>(i)));
  }
  std::vector<YuvPicture> results;
  for (const char* layout : {"nv21", "nv12", "i420"}) {
    std::vector<std::string> arguments = frames;
    arguments.insert(arguments.begin(), "denoise");
    for (const std::string& more :
         {std::string("-o"), Path("out.y4m"), std::string("--format"), std::string(layout)}) {
      arguments.push_back(more);
    }
    ASSERT_EQ(Run(arguments), kExitDone) << err_;
    results.push_back(ReadPicture(Path("out.y4m")));
    EXPECT_EQ(results.back().width, 203);
    EXPECT_EQ(results.back().height, 151);
    EXPECT_EQ(results.back().y, results.front().y) << layout;
    EXPECT_EQ(results.back().u, results.front().u) << layout;
    EXPECT_EQ(results.back().v, results.front().v) << layout;
  }
}

TEST_F(ZoltBurst, ARefusalEndsWith3AndWritesNothing) {
  Simulate();
  const std::string denoised = Path("clean.png");
  std::filesystem::create_directory(Path("config"));
  const std::vector<uint8_t> shipped = ReadWhole(ShippedConfigFolder() + "/multiframe.xml");
  WriteWhole(Path("config/multiframe.xml"), std::string("<?xml version=\"1.0\"?>"));
  EXPECT_EQ(Run({"denoise", Path("burst"), "-o", denoised, "--config", Path("config")}), kExitRefused);
  EXPECT_NE(err_.find("-997"), std::string::npos) << err_;
  EXPECT_EQ(Run({"denoise", Path("burst"), "-o", denoised, "--config", Path("none")}), kExitFile);

  std::string off(shipped.begin(), shipped.end());
  const std::string key = "<NoiseReductionFlag>";
  for (size_t at = off.find(key); at != std::string::npos; at = off.find(key, at + 1))
    off[at + key.size()] = '0';
  WriteWhole(Path("config/multiframe.xml"), off);
  EXPECT_EQ(Run({"denoise", Path("burst"), "-o", denoised, "--config", Path("config"), "--json"}),
            kExitRefused);
  EXPECT_EQ(nlohmann::json::parse(out_)["result"], 2);
  EXPECT_FALSE(std::filesystem::exists(denoised));
  EXPECT_EQ(FilesInFolder(), 2u);  // burst and config
}

TEST_F(ZoltBurst, HalvedBurstsUseEverySecondFrame) {
  Simulate();
  const std::string out = Path("clean.y4m");
  EXPECT_EQ(Run({"denoise", Path("burst"), "-o", out, "--halved"}), kExitUsage);
  EXPECT_EQ(Run({"denoise", Path("burst"), "-o", out, "--halved", "--fusion", "off", "--frames", "3"}),
            kExitUsage);
  ASSERT_EQ(Run({"denoise", Path("burst"), "-o", out, "--halved", "--fusion", "off", "--json"}), kExitDone)
      << err_;
  const auto frames = nlohmann::json::parse(out_)["frames"];
  EXPECT_FALSE(frames[1].contains("registration_ms"));
  EXPECT_TRUE(frames[2].contains("registration_ms"));
  EXPECT_FALSE(frames[3].contains("registration_ms"));
}

TEST_F(ZoltBurst, AnOldBurstInTheFolderIsReplacedWhole) {
  Simulate({"--last-ev", "1"});
  EXPECT_TRUE(std::filesystem::exists(Path("burst/truth-last.png")));
  ASSERT_EQ(Run({"simulate", "-o", Path("burst"), "--crop", "128x96", "--frames", "2"}), kExitDone) << err_;
  EXPECT_FALSE(std::filesystem::exists(Path("burst/truth-last.png")));
  EXPECT_FALSE(std::filesystem::exists(Path("burst/frame-2.png")));
  EXPECT_EQ(ReadPicture(Path("burst/frame-1.png")).width, 128);
}

}  // namespace
}  // namespace zolt
