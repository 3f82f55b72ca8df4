#include "tune/tune_command.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "common/errors.h"
#include "common/file_io.h"
#include "common/progress.h"
#include "common/stop_request.h"
#include "denoise/denoise_options.h"
#include "tune/tune_bands.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst tune bursts/* -o multiframe.xml                    from the built-in values on
  zolt-burst tune bursts/* -o multiframe.xml --config mine      from those in mine/multiframe.xml
  zolt-burst tune bursts/* -o multiframe.xml --chroma 0.25 --trail 4
  zolt-burst tune bursts/* fused/* -o multiframe.xml --fusion
  zolt-burst tune bursts/* -o multiframe.xml --mode fine        ghost thresholds, on what fine mode makes of them
  zolt-burst tune shots/* -o multiframe.xml --iso 800           photographs without EXIF

A folder is one of 'zolt-burst simulate', or holds a burst's images and, as truth.png, the noise-free picture of the
first one. Each serves the band of its ISO. Ctrl-C writes what was reached; the same command then goes on from
there, by means of FILE.state.json. Ends with 130 when it was stopped.)";

struct Options {
  std::vector<std::string> folders;
  std::string output;
  TuneSettings settings;
  int iso = -1;
  bool restart = false;
};

// FNV-1a, enough to tell one set of bursts from another.
class Fingerprint {
 public:
  void Add(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < size; ++i) hash_ = (hash_ ^ bytes[i]) * 1099511628211u;
  }
  template <typename T>
  void AddValue(const T& value) {
    Add(&value, sizeof value);
  }
  std::string Text() const {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash_));
    return text;
  }

 private:
  uint64_t hash_ = 14695981039346656037u;
};

std::string FingerprintOf(const TuneSettings& settings, const std::vector<TuneBurst>& bursts,
                          const MfConfig& start) {
  Fingerprint print;
  const TuneWeights& w = settings.weights;
  for (const double weight : {w.luma, w.chroma, w.ssim, w.trail, w.below}) print.AddValue(weight);
  print.AddValue(settings.border);
  print.AddValue(settings.mode);
  print.Add(&start, sizeof start);
  const auto add_picture = [&](const YuvPicture& p) {
    for (const auto* plane : {&p.y, &p.u, &p.v}) print.Add(plane->data(), plane->size());
  };
  for (const TuneBurst& burst : bursts) {
    print.AddValue(burst.iso);
    print.AddValue(burst.width());
    for (const YuvPicture& frame : burst.frames) add_picture(frame);
    add_picture(burst.truth);
  }
  return print.Text();
}

void CheckOutput(const std::string& output) {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::path(output).parent_path();
  if (!folder.empty() && !std::filesystem::is_directory(folder, error))
    FailFile(folder.string() + ": no such folder");
}

std::vector<TuneBurst> LoadAll(const Options& options) {
  const TuneBurstNeeds needs = {options.iso, options.settings.border, options.settings.fusion};
  std::vector<TuneBurst> bursts;
  Progress progress("tune: reading burst", static_cast<int>(options.folders.size()));
  for (const std::string& folder : options.folders) {
    bursts.push_back(LoadTuneBurst(folder, needs));
    progress.Step();
  }
  return bursts;
}

std::string HeadOf(const Options& options, bool finished) {
  const TuneWeights& w = options.settings.weights;
  std::ostringstream text;
  text
      << "Tuning of the multi-frame noise reduction, written by 'zolt-burst tune' from "
      << options.folders.size() << " bursts with known truth for "
      << (options.settings.mode == ZOLT_BURST_FINE ? "fine" : "fast") << " mode"
      << (finished ? "" : ", stopped on the way") << ". Weights: luma " << w.luma << ", chroma " << w.chroma
      << ", ssim " << w.ssim << ", trail " << w.trail << ", below " << w.below
      << ". The line above must stay the first one. A burst takes the first band whose isovalue is not below "
         "its ISO. Figures of a band are means over its bursts.";
  return text.str();
}

int Run(Options options, std::ostream& out) {
  TuneSettings& settings = options.settings;
  CheckOutput(options.output);
  if (settings.mode == ZOLT_BURST_FINE && settings.fusion)
    FailUsage("--fusion: fused bursts are finished as in fast mode, so it goes with --mode fast alone");
  const MfConfig start = ReadTuning(settings.config_folder, KindOf(settings.mode, settings.fusion));
  const std::vector<TuneBurst> bursts = LoadAll(options);
  const std::string state_path = options.output + ".state.json";
  std::error_code ignored;
  if (options.restart) std::filesystem::remove(state_path, ignored);
  TuneState state(state_path, FingerprintOf(settings, bursts, start));
  if (state.resumed()) out << "going on from " << state_path << std::endl;
  const StopRequest stop;
  TuneBands tuner(settings, bursts, start, &state, out);
  const bool finished = tuner.Run();
  TuneFileNotes notes = tuner.notes();
  notes.head = HeadOf(options, finished);
  WriteWhole(options.output, TuneFileText(tuner.config(), notes));
  out << options.output
      << (finished ? ": written" : ": written as far as the tuning got; the same command goes on")
      << std::endl;
  return finished ? kExitDone : kExitStopped;
}

}  // namespace

void AddTuneCommand(CLI::App& app, int* exit_code, std::ostream& out) {
  auto options = std::make_shared<Options>();
  TuneSettings& settings = options->settings;
  TuneWeights& weights = settings.weights;
  CLI::App* command = app.add_subcommand("tune", "Make a tuning file of bursts with known truth");
  command->footer(kExamples);
  command->add_option("FOLDERS", options->folders, "bursts with their truth")->required();
  command->add_option("-o,--output", options->output, "the tuning file to write")->required();
  command->add_option("--config", settings.config_folder,
                      "folder of the multiframe.xml to start from (default: the built-in tuning)");
  command
      ->add_option("--mode", settings.mode,
                   "fast: all keys; fine: the ghost thresholds, the only keys that fine mode uses")
      ->transform(CLI::CheckedTransformer(ModeNames()))
      ->default_str("fast");
  command->add_option("--evaluations", settings.evaluations, "tunings to look at in each band")
      ->check(CLI::Range(5, 1000000))
      ->capture_default_str();
  command->add_option("--jobs", settings.jobs, "processes at a time (default: one for each CPU)")
      ->check(CLI::Range(1, 1024));
  command->add_option("--iso", options->iso, "of folders that don't tell it")->check(CLI::Range(1, 1000000));
  command->add_option("--border", settings.border, "pixels at each edge that don't count")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  const auto weight = [&](const char* name, double* value, const char* meaning) {
    command->add_option(name, *value, meaning)->check(CLI::Range(0.0, 1000.0))->capture_default_str();
  };
  weight("--luma", &weights.luma, "weight of the luma PSNR in dB");
  weight("--chroma", &weights.chroma, "weight of the chroma PSNR in dB");
  weight("--ssim", &weights.ssim, "weight of the luma SSIM in per cent");
  weight("--trail", &weights.trail, "penalty for places that come out worse than the first frame, per dB");
  weight("--below", &weights.below, "penalty for a result below the merged frames without a filter, per dB");
  command->add_flag(
      "--fusion", settings.fusion,
      "tune the exposure fusion too, on bursts of --last-ev, and keep ghost thresholds where it needs them");
  command->add_flag("--restart", options->restart, "forget what a stopped run has reached");
  command->callback([options, exit_code, &out] { *exit_code = Run(*options, out); });
}

}  // namespace zolt
