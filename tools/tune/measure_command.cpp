#include "tune/measure_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "common/errors.h"
#include "common/parallel.h"
#include "common/progress.h"
#include "denoise/denoise_options.h"
#include "denoise/layer_pictures.h"
#include "media/colour.h"
#include "tune/tune_burst.h"
#include "tune/tune_file.h"
#include "tune/tune_score.h"
#include "tune/tune_workers.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst measure bursts/*                      with the built-in tuning
  zolt-burst measure bursts/* --config mine --json
  zolt-burst measure bursts/* --iso auto           in the band that the measured noise asks for
  zolt-burst measure bursts/* --mode fast          leaves fine mode out, which takes longer

A folder is one that 'zolt-burst tune' takes. Figures are against its truth, inside the border: of the first frame,
of mean.png if 'simulate --mean' left it there, of the frames folded together without any filter, and of the results
of fast and fine mode. A burst whose last frame is fused has the result of fast mode alone.)";

struct Options {
  std::vector<std::string> folders;
  std::string config_folder;
  std::string iso = "told";
  TuneBurstNeeds needs;
  int jobs = UsableProcessors();
  std::string mode = "both";
  bool json = false;

  bool Tells(const char* name, bool fused) const {
    return mode == "both" || mode == name || (fused && std::string(name) == "fast");
  }
};

/// A burst under the tunings of both modes.
struct Scores {
  TuneScore fast, fine;
};

struct Stage {
  const char* name;
  TuneFigures figures;
};

// A fused burst has no merge that its truth could be held against.
std::vector<Stage> StagesOf(const TuneBurst& burst, const Scores& scores, const Options& options) {
  const int border = options.needs.border;
  const TuneJudge judge(burst, border);
  std::vector<Stage> stages = {{"first", judge.Judge(burst.first(), true)}};
  if (burst.mean.width == burst.width() && burst.mean.height == burst.height())
    stages.push_back({"mean", judge.Judge(burst.mean, true)});
  if (!burst.fused) stages.push_back({"merged", scores.fast.merged});
  if (options.Tells("fast", burst.fused)) stages.push_back({"fast", scores.fast.result});
  if (!burst.fused && options.Tells("fine", false)) stages.push_back({"fine", scores.fine.result});
  return stages;
}

void TellJson(const TuneBurst& burst, int iso, const std::vector<Stage>& stages, std::ostream& out) {
  nlohmann::ordered_json j = {{"folder", burst.folder},
                              {"iso", iso},
                              {"told_iso", nullptr},
                              {"frames", burst.total()},
                              {"fused", burst.fused}};
  if (burst.told_iso > 0) j["told_iso"] = burst.told_iso;
  for (const Stage& stage : stages) {
    j[stage.name] = {{"psnr_luma", stage.figures.psnr_luma},
                     {"psnr_chroma", stage.figures.psnr_chroma},
                     {"ssim_luma", stage.figures.ssim_luma}};
  }
  out << j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void TellText(const TuneBurst& burst, int iso, const std::vector<Stage>& stages, std::ostream& out) {
  out << burst.folder << ": ISO " << iso << ", " << burst.total() << " frames\n";
  for (const Stage& stage : stages) {
    char line[120];
    std::snprintf(line, sizeof line, "  %-7s luma %5.2f dB  chroma %5.2f dB  luma SSIM %.4f\n", stage.name,
                  stage.figures.psnr_luma, stage.figures.psnr_chroma, stage.figures.ssim_luma);
    out << line;
  }
}

// Those of the bursts that are fused, or those that are not: a tuning is for one kind.
void Evaluate(const std::vector<TuneBurst>& bursts, bool fused, const Options& options,
              std::vector<Scores>* scores) {
  std::vector<const TuneBurst*> handles;
  std::vector<Scores*> places;
  for (size_t i = 0; i < bursts.size(); ++i) {
    if (bursts[i].fused != fused) continue;
    handles.push_back(&bursts[i]);
    places.push_back(&(*scores)[i]);
  }
  if (handles.empty()) return;
  TuneWorkers workers(handles, options.needs.border, true, options.jobs);
  const MfConfig fast_config = ReadTuning(options.config_folder, KindOf(ZOLT_BURST_FAST, fused));
  const auto fast = workers.Evaluate(fast_config, TuneWorkers::Depth::kResult);
  for (size_t i = 0; i < places.size(); ++i) places[i]->fast = fast[i];
  if (fused || !options.Tells("fine", false)) return;
  const MfConfig fine_config = ReadTuning(options.config_folder, TuningKind::kFine);
  const auto fine = workers.Evaluate(fine_config, TuneWorkers::Depth::kFine);
  for (size_t i = 0; i < places.size(); ++i) places[i]->fine = fine[i];
}

void Run(Options options, std::ostream& out) {
  const bool told = options.iso == "told";
  const int named = told ? -1 : ParseNumberOrAuto(options.iso, "--iso", 0, 1);
  options.needs.iso = named;
  options.needs.fusion = true;
  // As many at a time as there are processes, so that not all of them are in memory.
  const size_t jobs = static_cast<size_t>(options.jobs);
  Progress progress("measure: burst", static_cast<int>(options.folders.size()));
  for (size_t from = 0; from < options.folders.size(); from += jobs) {
    const size_t to = std::min(options.folders.size(), from + jobs);
    std::vector<TuneBurst> bursts;
    for (size_t i = from; i < to; ++i) {
      bursts.push_back(LoadTuneBurst(options.folders[i], options.needs));
      if (!told) bursts.back().iso = named;
    }
    std::vector<Scores> scores(bursts.size());
    for (const bool fused : {false, true}) Evaluate(bursts, fused, options, &scores);
    for (size_t i = 0; i < bursts.size(); ++i) {
      const std::vector<Stage> stages = StagesOf(bursts[i], scores[i], options);
      const int iso = scores[i].fast.iso;
      options.json ? TellJson(bursts[i], iso, stages, out) : TellText(bursts[i], iso, stages, out);
      progress.Step();
    }
  }
}

}  // namespace

void AddMeasureCommand(CLI::App& app, std::ostream& out) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("measure", "Tell what a tuning makes of bursts with known truth, stage by stage");
  command->footer(kExamples);
  command->add_option("FOLDERS", options->folders, "bursts with their truth")->required();
  command->add_option("--config", options->config_folder,
                      "folder of multiframe.xml (default: the built-in tuning)");
  command
      ->add_option("--iso", options->iso,
                   "of all bursts; auto: their noise is measured; told: as burst.json or EXIF tells")
      ->capture_default_str();
  command->add_option("--border", options->needs.border, "pixels at each edge that don't count")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  command->add_option("--jobs", options->jobs, "processes at a time (default: one for each CPU)")
      ->check(CLI::Range(1, 1024));
  command->add_option("--mode", options->mode, "whose results are told: fast, fine or both")
      ->check(CLI::IsMember({"fast", "fine", "both"}))
      ->capture_default_str();
  command->add_flag("--json", options->json, "a line of JSON for each burst");
  command->callback([options, &out] { Run(*options, out); });
}

}  // namespace zolt
