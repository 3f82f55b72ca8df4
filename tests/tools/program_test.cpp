// The program as the shell sees it: arguments in, exit code, text and files out.
#include <nlohmann/json.hpp>

#include "common/file_io.h"
#include "compare/quality.h"
#include "media/media_read.h"
#include "media/media_write.h"
#include "tools/support/interrupt_soon.h"
#include "tools/support/tool_program.h"
#include "zolt_burst.h"

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
      {"denoise", "a.png", "b.png", "-o", "c.png", "--iso", "0"},
      {"denoise", "a.png", "b.png", "-o", "c.png", "--reference", "-1"},
      {"denoise", "a.png", "b.png", "-o", "c.png", "--memory-limit", "1X"},
      {"denoise", "a.png", "b.png", "-o", "c.png", "--memory-limit", "99999999999G"},
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
  EXPECT_EQ(told["told_iso"], 3200);
  EXPECT_EQ(told["told_by"], "burst.json");
  EXPECT_EQ(told["noise_measured"], true);
  ASSERT_EQ(told["frames"].size(), 4u);
  EXPECT_EQ(told["frames"][0]["use"], "reference");
  EXPECT_EQ(told["frames"][3]["file"], Path("burst/frame-3.png"));
  EXPECT_GT(told["frames"][3]["temporal_ms"], 0);
  EXPECT_GT(told["finish_ms"], 0);
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

TEST_F(ZoltBurst, AnyNumberOfFramesOfAnySizeIsTaken) {
  for (const auto& [width, height, count] : {std::tuple{203, 151, 13}, {16, 17, 2}, {65, 64, 1}}) {
    std::vector<std::string> arguments = {"denoise", "-o", Path("out.y4m"), "--json"};
    const YuvPicture frame = RandomPicture(width, height, 1);
    for (int i = 0; i < count; ++i) {
      arguments.push_back(Path("f" + std::to_string(i) + ".y4m"));
      WritePicture(arguments.back(), frame);
    }
    ASSERT_EQ(Run(arguments), kExitDone) << err_;
    EXPECT_EQ(nlohmann::json::parse(out_)["given"], count);
    const YuvPicture result = ReadPicture(Path("out.y4m"));
    EXPECT_TRUE(result.width == width && result.height == height);
  }
}

TEST_F(ZoltBurst, OptionsReachTheLibraryAndWhatIsLeftOutIsTold) {
  Simulate({"--last-ev", "1"}, "6");
  WritePicture(Path("other.png"), RandomPicture(264, 200, 9));
  const std::string burst = Path("burst"), out = Path("out.y4m");
  ASSERT_EQ(Run({"denoise", burst, "-o", out, "--fusion", "on"}), kExitDone) << err_;
  EXPECT_NE(out_.find("6 of 6 frames"), std::string::npos) << out_;
  ASSERT_EQ(Run({"denoise", burst + "/frame-0.png", burst + "/frame-1.png", Path("other.png"),
                 burst + "/frame-5.png", "-o", out, "--fusion", "off", "--reference", "1", "--iso", "400"}),
            kExitDone);
  for (const char* part : {"2 of 4 frames, reference frame-1.png", "noise: ISO 400 (band 3) as named",
                           "left out: other.png: other", "left out: frame-5.png: other exposure"})
    EXPECT_NE(out_.find(part), std::string::npos) << part << " in " << out_;
  EXPECT_EQ(Run({"denoise", burst, "-o", out, "--reference", "6"}), kExitUsage);
  EXPECT_EQ(Run({"denoise", burst, "-o", out, "--memory-limit", "100K"}), kExitRefused);
  EXPECT_NE(err_.find("raise --memory-limit to "), std::string::npos) << err_;
  std::filesystem::create_directories(Path("maps/weight-2.png"));
  EXPECT_EQ(Run({"denoise", burst, "-o", out, "--maps", Path("maps")}), kExitFile);
  EXPECT_NE(err_.find("weight-2.png"), std::string::npos) << err_;
}

TEST_F(ZoltBurst, CtrlCEndsABurstWith130AndWritesNothing) {
  Simulate();
  const InterruptSoon interrupt(1000);
  EXPECT_EQ(Run({"denoise", Path("burst"), "-o", Path("clean.png")}), kExitStopped);
  EXPECT_EQ(FilesInFolder(), 1u);
}

TEST_F(ZoltBurst, ARefusalEndsWith3AndWritesNothing) {
  Simulate();
  const std::string denoised = Path("clean.png");
  std::filesystem::create_directory(Path("config"));
  const std::vector<uint8_t> shipped = ReadWhole(ZOLT_SOURCE_DIR "/config/multiframe.xml");
  WriteWhole(Path("config/multiframe.xml"), std::string("<?xml version=\"1.0\"?>"));
  EXPECT_EQ(Run({"denoise", Path("burst"), "-o", denoised, "--config", Path("config")}), kExitRefused);
  EXPECT_NE(err_.find("tuning file"), std::string::npos) << err_;
  EXPECT_EQ(Run({"denoise", Path("burst"), "-o", denoised, "--config", Path("none")}), kExitFile);

  std::string off(shipped.begin(), shipped.end());
  const std::string key = "<NoiseReductionFlag>";
  for (size_t at = off.find(key); at != std::string::npos; at = off.find(key, at + 1))
    off[at + key.size()] = '0';
  WriteWhole(Path("config/multiframe.xml"), off);
  EXPECT_EQ(Run({"denoise", Path("burst"), "-o", denoised, "--config", Path("config"), "--json"}),
            kExitRefused);
  EXPECT_EQ(nlohmann::json::parse(out_)["result"], ZOLT_BURST_BAD_TUNING);
  EXPECT_FALSE(std::filesystem::exists(denoised));
  EXPECT_EQ(FilesInFolder(), 2u);  // burst and config
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
