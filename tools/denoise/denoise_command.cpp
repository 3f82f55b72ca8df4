#include "denoise/denoise_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "common/file_io.h"
#include "denoise/denoise_options.h"
#include "denoise/denoise_run.h"
#include "denoise/denoise_summary.h"
#include "denoise/layer_pictures.h"
#include "denoise/output_file.h"
#include "media/media_write.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst denoise 1.jpg 2.jpg 3.jpg 4.jpg -o clean.png
  zolt-burst denoise clip.mp4 --start 10 --frames 6 -o clean.jpg
  zolt-burst denoise burst -o clean.png --maps maps        a folder made by 'zolt-burst simulate'
  zolt-burst denoise a.nv21 b.nv21 --size 4000x3000 -o clean.nv21
  zolt-burst denoise *.jpg -o clean.png --reference 0 --json
  zolt-burst denoise *.dng -o clean.tif --fast-preview     cameras' raw files, a preview of half the size
  ffmpeg -i clip.mp4 -f yuv4mpegpipe - | zolt-burst denoise - -o - --output-format jpg > clean.jpg

The result shows the moment of the reference, which is the sharpest of the first three frames. Blurred frames and
those of another scene or exposure are left out; of more than ten, the ten best are merged. Files that are no pictures
are left out with a line. OUT's extension tells its format: .jpg, .png, .tif, .heic, .avif, .y4m, .i420 (.yuv), .nv12
or .nv21. If the library refuses, the program ends with 3 and writes nothing; 130 is the end by Ctrl-C.)";

struct Options {
  DenoiseOptions denoise;
  OutputOptions output;
  std::string maps;
  bool json = false;
};

// What would only come out after the work is done.
void CheckOutputs(const Options& options) {
  CheckOutput(options.output, options.denoise.source.inputs);
  if (options.maps.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(options.maps, error);
  if (error) FailFile(options.maps + ": can't be made: " + error.message());
}

// Ghost maps and weights are grey pictures, the aligned frame is what was folded in.
void WriteMaps(const std::string& folder, int frame, int orientation, const FrameMaps& maps) {
  const auto write = [&](const char* name, const YuvPicture& picture) {
    if (picture.width > 0)
      WritePicture(folder + "/" + name + "-" + std::to_string(frame) + ".png", Turned(picture, orientation));
  };
  write("aligned", maps.aligned);
  write("ghost", maps.ghost);
  write("weight", maps.weight);
}

void Tell(const Options& options, const PreparedBurst& burst, const DenoiseResult& result,
          std::ostream& out) {
  if (!options.json) {
    out << SummaryText(options.output.path, burst, result);
    return;
  }
  const nlohmann::ordered_json j = SummaryJson(options.output.path, burst, result);
  out << j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void TellRefusal(const LibraryRefused& refusal, std::ostream& out) {
  const nlohmann::ordered_json j = {{"result", refusal.result()}, {"error", refusal.what()}};
  out << j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void Run(const Options& options, std::ostream& out, std::ostream& err) {
  CheckOutputs(options);
  const bool rgb = HoldsRgb(OutputFormat(options.output.path, options.output.format));
  const PreparedBurst burst = PrepareBurst(options.denoise, rgb);
  TellNotes(options.denoise, burst, err);
  CheckNoInput(options.output, burst.files);
  std::function<void(int, const FrameMaps&)> on_maps;
  if (!options.maps.empty()) {
    on_maps = [&](int frame, const FrameMaps& maps) {
      WriteMaps(options.maps, frame, burst.metadata.front().orientation, maps);
    };
  }
  // A picture on standard output has it for itself.
  std::ostream& words = options.output.path == "-" ? err : out;
  try {
    DenoiseResult result = DenoiseBurst(ViewsOf(burst.frames), burst.settings, on_maps);
    if (auto* yuv = std::get_if<YuvPicture>(&result.picture))
      yuv->grey = std::all_of(burst.frames.begin(), burst.frames.end(), IsGrey);
    const Metadata& reference = burst.metadata[static_cast<size_t>(result.report.reference)];
    WriteResult(options.output, result.picture, reference, burst.shots, out,
                options.denoise.quiet ? nullptr : &err);
    if (options.json || !options.denoise.quiet) Tell(options, burst, result, words);
  } catch (const LibraryRefused& refusal) {
    if (options.json) TellRefusal(refusal, words);
    throw;
  }
}

}  // namespace

void AddDenoiseCommand(CLI::App& app, std::ostream& out, std::ostream& err) {
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("denoise", "Make one clean image of a burst");
  command->footer(kExamples);
  AddDenoiseOptions(command, &options->denoise);
  AddOutputOptions(command, &options->output);
  command->add_option("--maps", options->maps,
                      "write ghost map, weights and aligned frame of each frame to this folder");
  command->add_flag("--json", options->json, "tell the whole report as JSON, with the time of each stage");
  command->callback([options, &out, &err] { Run(*options, out, err); });
}

}  // namespace zolt
