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

A folder is one that 'zolt-burst tune' takes. Figures are against its truth, inside the border: of the first frame,
of mean.png if 'simulate --mean' left it there, of the frames folded together without any filter, and of the result of
fast mode, which the tuning is for.)";

struct Options {
  std::vector<std::string> folders;
  std::string config_folder;
  std::string iso = "told";
  TuneBurstNeeds needs;
  int jobs = UsableProcessors();
  bool fine = false;
  bool json = false;
};

struct Stage {
  const char* name;
  TuneFigures figures;
};

// A fused burst has no merge that its truth could be held against.
std::vector<Stage> StagesOf(const TuneBurst& burst, const TuneScore& score, const Options& options) {
  const int border = options.needs.border;
  const TuneJudge judge(burst, border);
  std::vector<Stage> stages = {{"first", judge.Judge(burst.first(), true)}};
  if (burst.mean.width == burst.width() && burst.mean.height == burst.height())
    stages.push_back({"mean", judge.Judge(burst.mean, true)});
  if (!burst.fused) stages.push_back({"merged", score.merged});
  stages.push_back({options.fine ? "fast" : "result", score.result});
  if (options.fine && !burst.fused) {
    DenoiseSettings settings;
    settings.config_folder = options.config_folder;
    settings.iso = score.iso;
    settings.reference = 0;
    stages.push_back(
        {"fine", judge.Judge(YuvOf(DenoiseBurst(ViewsOf(burst.frames), settings).picture), true)});
  }
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

void Run(Options options, std::ostream& out) {
  const bool told = options.iso == "told";
  const int named = told ? -1 : ParseNumberOrAuto(options.iso, "--iso", 0, 1);
  const MfConfig config = ReadTuning(options.config_folder);
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
    std::vector<const TuneBurst*> handles;
    handles.reserve(bursts.size());
    for (const TuneBurst& burst : bursts) handles.push_back(&burst);
    TuneWorkers workers(handles, options.needs.border, true, options.jobs);
    const std::vector<TuneScore> scores = workers.Evaluate(config, TuneWorkers::Depth::kResult);
    for (size_t i = 0; i < bursts.size(); ++i) {
      const std::vector<Stage> stages = StagesOf(bursts[i], scores[i], options);
      const int iso = scores[i].iso;
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
  command->add_flag("--fine", options->fine,
                    "tell what fine mode gives too; the tuning's result is fast mode's");
  command->add_flag("--json", options->json, "a line of JSON for each burst");
  command->callback([options, &out] { Run(*options, out); });
}

}  // namespace zolt
