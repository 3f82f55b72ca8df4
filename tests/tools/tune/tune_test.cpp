// The tuning: that what it measures is what the library returns, and that it can be stopped, resumed and
// refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "common/file_io.h"
#include "compare/quality.h"
#include "config_check/config_check.h"
#include "denoise/burst_frames.h"
#include "denoise/denoise_run.h"
#include "denoise/layer_pictures.h"
#include "media/colour.h"
#include "media/media_read.h"
#include "media/media_write.h"
#include "tools/support/interrupt_soon.h"
#include "tools/support/tool_program.h"
#include "tune/tune_burst.h"
#include "tune/tune_command.h"
#include "tune/tune_file.h"
#include "tune/tune_keys.h"
#include "tune/tune_pipeline.h"
#include "tune/tune_score.h"
#include "tune/tune_search.h"
#include "tune/tune_workers.h"

namespace zolt {
namespace {

class Tune : public ToolProgram {
 protected:
  std::string Simulate(const std::string& name, int frames, int iso, std::vector<std::string> more = {},
                       const std::string& crop = "264x256") {
    std::vector<std::string> arguments = {
        "simulate",         "-o", Path(name), "--crop", crop, "--frames", std::to_string(frames), "--iso",
        std::to_string(iso)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(Run(arguments), kExitDone) << err_;
    return Path(name);
  }

  // A folder with a tuning that anyone can better: every band filters far too much.
  std::string PoorStart() {
    MfConfig config = ReadTuning("", TuningKind::kPlain);
    for (IsoBand& band : config.bands) {
      for (const TuneKey& key : LumaKeys() + ChromaKeys()) key.Set(&band, key.Value(0.9));
      for (const TuneKey& key : GhostKeys(false)) key.Set(&band, key.Value(0.7));
      band.fusion_low = band.fusion_high = 0;
    }
    std::filesystem::create_directories(Path("start"));
    WriteWhole(Path("start/multiframe.xml"), TuneFileText(config, {}));
    return Path("start");
  }
};

void ExpectEqual(const YuvPicture& a, const YuvPicture& b) {
  EXPECT_TRUE(a.y == b.y && a.u == b.u && a.v == b.v);
}

// The shortcut past the merge must give what denoise gives, for both filters, for a last frame that is fused,
// for one that is left out, and where the noise is measured.
TEST_F(Tune, EveryTuningIsMeasuredOnTheLibrarysOwnResult) {
  MfConfig config = ReadTuning("", TuningKind::kPlain);
  config.LumaEnhancementFlag = 1;
  config.lumaTH = config.peakTH = 2560;
  config.maxGain = 20;
  for (const auto& [name, frames, more, measured] :
       {std::tuple<std::string, int, std::vector<std::string>, bool>{"few", 3, {"--ghost"}, false},
        {"many", 5, {}, true},
        {"darker", 5, {"--last-ev", "-1"}, false},
        {"fused", 6, {"--last-ev", "1"}, false}}) {
    const std::string folder = Simulate(name, frames, 1600, more);
    TuneBurst burst = LoadTuneBurst(folder, {-1, 16, true});
    if (measured) burst.iso = 0;
    TunePipeline pipeline(burst, config);
    for (const int strength : {-120, -60, -20}) {
      for (IsoBand& band : config.bands) {
        band.lumaHF1 = band.lumaHF2 = strength;
        band.lumaTH_High = strength == -20 ? 480 : 96;
        band.detail = strength;
        band.fusion_low = 128 + strength;
      }
      DenoiseSettings settings;
      settings.config_folder = Path("tuning");
      settings.iso = burst.iso;
      settings.reference = 0;
      settings.mode = ZOLT_BURST_FAST;
      std::filesystem::create_directories(settings.config_folder);
      WriteWhole(settings.config_folder + "/multiframe.xml", TuneFileText(config, {}));
      const DenoiseResult expected = DenoiseBurst(ViewsOf(burst.frames), settings);
      EXPECT_EQ(pipeline.iso(), expected.report.iso);
      EXPECT_EQ(expected.report.fused != 0, burst.fused);
      ExpectEqual(pipeline.Finished(config), std::get<YuvPicture>(expected.picture));
    }
  }
}

TEST_F(Tune, AFileHoldsWhatWasWrittenAndNothingToFindFaultWith) {
  MfConfig config = ReadTuning("", TuningKind::kPlain);
  config.ghostTH = 0.125f;
  for (int band = 0; band < kIsoBands; ++band) {
    for (int i = 0; i < kChromaNrEntries; ++i) config.bands[band].chromaNrLUT[i] = 40 * band + i;
    config.bands[band].lumaHF1 = -128 + band;
  }
  TuneFileNotes notes;
  notes.head = "two -- hyphens --- and more -";
  WriteWhole(Path("multiframe.xml"), TuneFileText(config, notes));
  const ConfigReport report = CheckConfig(Path("multiframe.xml"));
  EXPECT_EQ(report.verdict, kConfigFine) << (report.findings.empty() ? "" : report.findings[0].message);
  EXPECT_EQ(report.found(), 184);
  const MfConfig read = ReadTuneFile(Path("multiframe.xml"));
  EXPECT_EQ(std::memcmp(&read, &config, sizeof config), 0);
}

TEST_F(Tune, TheSearchFindsTheTopOfASteppedHillWithinItsBudget) {
  const std::vector<TuneKey> keys = LumaKeys() + ChromaKeys();
  std::vector<int> top;
  for (const TuneKey& key : keys) top.push_back(key.Value(0.6));
  int asked = 0;
  const auto height = [&](const std::vector<int>& point) {
    ++asked;
    double sum = 0;
    for (size_t i = 0; i < keys.size(); ++i) {
      const double d = keys[i].Place(point[i]) - keys[i].Place(top[i]);
      sum -= d * d;
    }
    return sum;
  };
  SearchPlan plan;
  plan.keys = keys;
  for (const TuneKey& key : keys) plan.start.push_back(key.Value(0.2));
  plan.evaluations = 400;
  const double at_start = height(plan.start);
  asked = 0;
  const SearchEnd end = FindHighest(plan, height, [] { return false; });
  EXPECT_LE(asked, 400);
  EXPECT_FALSE(end.stopped);
  EXPECT_EQ(end.value, height(end.best));
  EXPECT_GT(end.value, at_start / 50);

  asked = 0;
  const SearchEnd early = FindHighest(plan, height, [&] { return asked >= 30; });
  EXPECT_TRUE(early.stopped);
  EXPECT_EQ(asked, 30);
  EXPECT_GE(early.value, at_start);
  EXPECT_THROW(FindHighest(
                   plan, [](const std::vector<int>&) -> double { FailFile("lost"); }, [] { return false; }),
               ToolError);
}

TEST_F(Tune, KeysKeepTheirValuesOnTheWayThroughTheSearch) {
  for (const bool with_fusion : {false, true}) {
    for (const TuneKey& key : GhostKeys(with_fusion) + LumaKeys() + ChromaKeys() + FusionKeys()) {
      EXPECT_EQ(key.Value(0), key.low) << key.name;
      EXPECT_EQ(key.Value(1), key.high) << key.name;
      for (int value = key.low; value <= key.high; value += 1 + (key.high - key.low) / 97) {
        EXPECT_EQ(key.Value(key.Place(value)), value) << key.name;
        IsoBand band = {};
        key.Set(&band, value);
        EXPECT_EQ(key.Get(band), value) << key.name;
      }
    }
  }
}

// A trail is local harm: it counts although the picture as a whole became better.
TEST_F(Tune, TrailsCountWhereverABlockGotWorse) {
  TuneBurst burst;
  burst.truth = YuvPicture(288, 288);
  burst.frames = {burst.truth};
  for (size_t i = 0; i < burst.truth.y.size(); ++i) burst.frames[0].y[i] = i % 2 == 0 ? 10 : 0;
  const TuneJudge judge(burst, 16);
  YuvPicture clean = burst.truth;
  EXPECT_EQ(judge.Judge(clean, false).trail_luma, 0);
  EXPECT_EQ(judge.Judge(burst.first(), false).trail_luma, 0);
  EXPECT_EQ(judge.Judge(clean, false).psnr_luma, 99);
  EXPECT_NEAR(judge.Judge(burst.first(), false).psnr_luma, 10 * std::log10(255 * 255 / 50.0), 1e-9);

  YuvPicture smeared = clean;
  for (int y = 16; y < 32; ++y) {
    for (int x = 16; x < 32; ++x) smeared.y[size_t(y) * 288 + x] = 20;
  }
  // One of 256 blocks has 400 in place of 50.
  EXPECT_NEAR(judge.Judge(smeared, false).trail_luma, 10 * std::log10((255 * 50 + 400) / (256 * 50.0)), 1e-3);
  YuvPicture outside = clean;
  std::fill_n(outside.y.begin(), 15 * 288, uint8_t{200});
  EXPECT_EQ(judge.Judge(outside, false).trail_luma, 0);

  TuneFigures figures = judge.Judge(clean, false);
  TuneFigures worse = figures;
  worse.trail_luma = 1;
  EXPECT_NEAR(Objective(figures, 0, {}) - Objective(worse, 0, {}), 1, 1e-9);
  EXPECT_NEAR(Objective(figures, 0, {}) - Objective(figures, figures.psnr_luma + 2, {}), 20, 1e-9);
}

// What a run promises: better than its start, the same again, and the same after a stop.
TEST_F(Tune, AStoppedTuningGoesOnToTheSameFile) {
  const std::string small = Simulate("a", 3, 1600);
  const std::string moving = Simulate("b", 4, 1600, {"--ghost"});
  const std::string bright = Simulate("c", 2, 100);
  const std::string high = Simulate("d", 3, 6400);
  const std::string start = PoorStart();
  const auto tune = [&](const std::string& output, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments = {"tune", small,        moving,          bright, high,
                                          "-o",   Path(output), "--evaluations", "20"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  };
  ASSERT_EQ(tune("whole.xml"), kExitDone) << err_;
  EXPECT_EQ(CheckConfig(Path("whole.xml")).verdict, kConfigFine);
  const std::vector<uint8_t> whole = ReadWhole(Path("whole.xml"));
  const std::string text(whole.begin(), whole.end());
  EXPECT_NE(text.find("tuned on 2 bursts of 3 to 4 frames"), std::string::npos);
  EXPECT_NE(text.find("interpolated from ISO1 and ISO5"), std::string::npos);
  EXPECT_NE(text.find("as in the file that the tuning started from"), std::string::npos);

  std::vector<TuneBurst> bursts = {LoadTuneBurst(small, {}), LoadTuneBurst(moving, {})};
  TuneWorkers workers({&bursts[0], &bursts[1]}, 16, false, 2);
  const auto mean = [&](const MfConfig& config) {
    return MeanScore(workers.Evaluate(config, TuneWorkers::Depth::kResult)).result;
  };
  EXPECT_GT(Objective(mean(ReadTuneFile(Path("whole.xml"))), 0, {}),
            Objective(mean(ReadTuneFile(start + "/multiframe.xml")), 0, {}));

  int code = kExitDone;
  {
    const InterruptSoon interrupt(30000);
    code = tune("part.xml", {"--jobs", "1"});
  }
  EXPECT_EQ(code, kExitStopped) << "the run ended before it could be stopped";
  EXPECT_EQ(CheckConfig(Path("part.xml")).verdict, kConfigFine);
  ASSERT_EQ(tune("part.xml"), kExitDone) << err_;
  EXPECT_NE(out_.find("going on"), std::string::npos);
  EXPECT_EQ(ReadWhole(Path("part.xml")), whole);

  EXPECT_EQ(tune("part.xml", {"--chroma", "0.25"}), kExitUsage);
  EXPECT_NE(err_.find("--restart"), std::string::npos) << err_;
  EXPECT_EQ(tune("part.xml", {"--chroma", "0.25", "--restart"}), kExitDone) << err_;
}

TEST_F(Tune, FusionKeysAreTunedOnFusedBursts) {
  const std::string fused = Simulate("fused", 5, 400, {"--last-ev", "1"});
  ASSERT_EQ(
      Run({"tune", fused, "-o", Path("out.xml"), "--fusion", "--evaluations", "12", "--config", PoorStart()}),
      kExitDone)
      << err_;
  const MfConfig before = ReadTuneFile(Path("start/multiframe.xml"));
  const MfConfig after = ReadTuneFile(Path("out.xml"));
  EXPECT_EQ(after.bands[2].lumaHF1, before.bands[2].lumaHF1);
  EXPECT_NE(std::memcmp(&after, &before, sizeof after), 0);
}

// By the bytes of what denoise gives, with its files for both kinds of bursts and both modes.
TEST_F(Tune, FineModesTuningTurnsGhostThresholdsAloneAndOnItsOwnResults) {
  const std::string moving = Simulate("moving", 4, 1600, {"--ghost"});
  const TuneBurst burst = LoadTuneBurst(moving, {});
  TunePipeline pipeline(burst, ReadTuning("", TuningKind::kFine));
  DenoiseSettings settings;
  settings.iso = 1600;
  settings.reference = 0;
  const MfConfig fine = ReadTuning("", TuningKind::kFine);
  ExpectEqual(pipeline.Fine(fine), YuvOf(DenoiseBurst(ViewsOf(burst.frames), settings).picture));

  const std::string start = PoorStart();
  const std::vector<std::string> tune = {"tune", moving,   "-o",   Path("fine.xml"), "--config",
                                         start,  "--mode", "fine", "--evaluations",  "12"};
  ASSERT_EQ(Run(tune), kExitDone) << err_;
  const MfConfig before = ReadTuneFile(start + "/multiframe.xml");
  MfConfig after = ReadTuneFile(Path("fine.xml"));
  const TuneJudge judge(burst, 16);
  EXPECT_GT(Objective(judge.Judge(pipeline.Fine(after), false), 0, {}),
            Objective(judge.Judge(pipeline.Fine(before), false), 0, {}));
  SetValues(GhostKeys(false), ValuesOf(GhostKeys(false), before.bands[4]), &after.bands[4]);
  EXPECT_EQ(std::memcmp(&after, &before, sizeof after), 0);
  EXPECT_EQ(Run({"tune", moving, "-o", Path("x.xml"), "--mode", "fine", "--fusion"}), kExitUsage);
}

TEST_F(Tune, WhatCantServeIsRefusedByName) {
  std::string text;
  const auto refused = [&](const std::string& folder, const TuneBurstNeeds& needs, const std::string& why) {
    EXPECT_EQ(FailureOf([&] { LoadTuneBurst(folder, needs); }, &text), kExitUsage) << folder;
    EXPECT_NE(text.find(why), std::string::npos) << text;
    EXPECT_NE(text.find(folder), std::string::npos) << text;
  };
  Simulate("flat", 2, 400, {}, "264x248");
  refused(Simulate("ev", 5, 400, {"--last-ev", "1"}), {}, "--fusion");
  refused(Simulate("short", 3, 400, {"--last-ev", "1"}), {-1, 16, true}, "5 frames");
  const std::string good = Simulate("good", 2, 400);
  refused(good, {-1, 120, false}, "--border");

  // Photographs as a camera leaves them.
  const std::string shots = Path("shots");
  std::filesystem::create_directories(shots);
  const auto copy = [&](const std::string& from, const std::string& to) {
    std::filesystem::copy_file(good + "/" + from, shots + "/" + to);
  };
  copy("frame-0.png", "IMG_1.png");
  copy("truth.png", "truth.png");
  refused(shots, {250, 16, false}, "a single frame");
  copy("frame-1.png", "IMG_2.png");
  refused(shots, {}, "--iso");
  const TuneBurst burst = LoadTuneBurst(shots, {250, 16, false});
  EXPECT_EQ(burst.iso, 250);
  ExpectEqual(burst.first(), ReadPicture(good + "/frame-0.png"));
  std::filesystem::remove(shots + "/truth.png");
  refused(shots, {250, 16, false}, "truth");
  std::filesystem::copy_file(Path("flat/truth.png"), shots + "/truth.png");
  refused(shots, {250, 16, false}, "the truth is 264 x 248");
  std::filesystem::copy_file(Path("flat/frame-0.png"), shots + "/IMG_3.png");
  refused(shots, {250, 16, false}, "IMG_3");
  EXPECT_EQ(Run({"tune", Path("none"), "-o", Path("out.xml")}), kExitFile);
  EXPECT_EQ(Run({"tune", good, "-o", Path("no/out.xml")}), kExitFile);
  EXPECT_EQ(Run({"tune", good, "-o", Path("out.xml"), "--trail", "-1"}), kExitUsage);
  EXPECT_FALSE(std::filesystem::exists(Path("out.xml")));
}

TEST_F(Tune, MeasureTellsEachStage) {
  const std::string still = Simulate("still", 4, 1600, {"--mean", "--motion", "0"});
  const std::string moving = Simulate("moving", 3, 1600, {"--ghost"});
  ASSERT_EQ(Run({"measure", still, moving, "--json"}), kExitDone) << err_;
  std::istringstream lines(out_);
  std::string line;
  std::getline(lines, line);
  const auto told = nlohmann::json::parse(line);
  EXPECT_EQ(told["iso"], 1600);
  EXPECT_EQ(told["frames"], 4);
  const YuvPicture truth = Inside(ReadPicture(still + "/truth.png"), 16);
  const Quality first = CompareQuality(Inside(ReadPicture(still + "/frame-0.png"), 16), truth);
  EXPECT_NEAR(told["first"]["psnr_luma"].get<double>(), first.psnr_luma, 1e-9);
  EXPECT_NEAR(told["first"]["psnr_chroma"].get<double>(), first.psnr_chroma, 1e-9);
  EXPECT_NEAR(told["first"]["ssim_luma"].get<double>(), first.ssim_luma, 1e-9);
  // Four frames in place halve the noise: 6 dB, less what rounding adds.
  EXPECT_NEAR(told["mean"]["psnr_luma"].get<double>() - first.psnr_luma, 6, 0.8);
  EXPECT_GT(told["merged"]["psnr_luma"], told["first"]["psnr_luma"]);
  EXPECT_NE(told["fast"], told["fine"]);
  std::getline(lines, line);
  EXPECT_FALSE(nlohmann::json::parse(line).contains("mean"));
  EXPECT_EQ(nlohmann::json::parse(line)["iso"], 1600);
  ASSERT_EQ(Run({"measure", still, "--iso", "400", "--mode", "fine", "--json"}), kExitDone) << err_;
  EXPECT_EQ(nlohmann::json::parse(out_)["iso"], 400);
  EXPECT_EQ(nlohmann::json::parse(out_)["told_iso"], 1600);
  EXPECT_TRUE(nlohmann::json::parse(out_).contains("fine") && !nlohmann::json::parse(out_).contains("fast"));
  EXPECT_EQ(Run({"measure", still, "--iso", "none"}), kExitUsage);
  EXPECT_EQ(Run({"simulate", "-o", Path("x"), "--mean", "--ghost"}), kExitUsage);
}

}  // namespace
}  // namespace zolt
