// The tuning: that what it measures is what the library returns, and that it can be stopped, resumed and
// refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "burst_frames.h"
#include "commands.h"
#include "config_check.h"
#include "denoise_run.h"
#include "file_io.h"
#include "media_read.h"
#include "media_write.h"
#include "quality.h"
#include "tool_folder.h"
#include "tune_burst.h"
#include "tune_command.h"
#include "tune_file.h"
#include "tune_keys.h"
#include "tune_pipeline.h"
#include "tune_score.h"
#include "tune_search.h"
#include "tune_workers.h"

namespace zolt {
namespace {

class Tune : public ToolFolder {
 protected:
  int Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "zolt-burst");
    std::vector<const char*> argv;
    for (const std::string& a : arguments) argv.push_back(a.c_str());
    std::ostringstream out, err;
    const int code = RunZoltBurst(static_cast<int>(argv.size()), argv.data(), out, err);
    out_ = out.str();
    err_ = err.str();
    return code;
  }

  std::string Simulate(const std::string& name, int frames, int iso, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments = {"simulate",
                                          "-o",
                                          Path(name),
                                          "--crop",
                                          "264x256",
                                          "--frames",
                                          std::to_string(frames),
                                          "--iso",
                                          std::to_string(iso)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(Run(arguments), kExitDone) << err_;
    return Path(name);
  }

  MfConfig Shipped() { return ReadTuneFile(ShippedConfigFolder() + "/multiframe.xml"); }

  std::string out_, err_;
};

void ExpectEqual(const YuvPicture& a, const YuvPicture& b) {
  EXPECT_EQ(a.y, b.y);
  EXPECT_EQ(a.u, b.u);
  EXPECT_EQ(a.v, b.v);
}

// The shortcut past the merge must give what denoise gives, for both filters and for sides that are padded.
TEST_F(Tune, EveryTuningIsMeasuredOnTheLibrarysOwnResult) {
  MfConfig config = Shipped();
  for (const auto& [name, frames, more] :
       {std::tuple<std::string, int, std::vector<std::string>>{"few", 3, {"--ghost"}},
        {"many", 5, {}},
        {"fused", 6, {"--last-ev", "1"}}}) {
    const std::string folder = Simulate(name, frames, 1600, more);
    const TuneBurst burst = LoadTuneBurst(folder, {-1, 16, true});
    TunePipeline pipeline(burst, ShippedConfigFolder());
    IsoBand& band = config.bands[4];
    for (const int strength : {-120, -60, -20}) {
      band.lumaHF1 = band.lumaHF2 = strength;
      band.lumaTH_High = strength == -20 ? 480 : 96;
      band.detail = strength;
      band.fusion_low = 128 + strength;
      DenoiseSettings settings;
      settings.config_folder = Path("tuning");
      settings.iso = 1600;
      settings.fusion = burst.fused ? Fusion::kOn : Fusion::kOff;
      std::filesystem::create_directories(settings.config_folder);
      WriteWhole(settings.config_folder + "/multiframe.xml", TuneFileText(config, {}));
      const DenoiseResult expected = DenoiseBurst(LoadBurst({{folder}}).frames, settings);
      ExpectEqual(pipeline.Finished(config), expected.picture);
    }
  }
}

TEST_F(Tune, AFileHoldsWhatWasWrittenAndNothingToFindFaultWith) {
  MfConfig config = Shipped();
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

}  // namespace
}  // namespace zolt
