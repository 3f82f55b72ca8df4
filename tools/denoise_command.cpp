#include <charconv>
#include <filesystem>
#include <iomanip>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "burst_frames.h"
#include "commands.h"
#include "denoise_run.h"
#include "media_write.h"
#include "progress.h"

namespace zolt {
namespace {

constexpr int kDefaultIso = 800;

constexpr const char* kExamples = R"(Examples:
  zolt-burst denoise 1.jpg 2.jpg 3.jpg 4.jpg -o clean.png
  zolt-burst denoise clip.mp4 --start 10 --frames 6 -o clean.jpg --iso 1600
  zolt-burst denoise burst -o clean.png --maps maps        a folder made by 'zolt-burst simulate'
  zolt-burst denoise a.nv21 b.nv21 --size 4000x3000 -o clean.nv21
  zolt-burst denoise *.jpg -o clean.png --json

The first frame is the reference: the result shows its moment. Frames of any size are taken; those that are no
multiple of 8 are padded by repeating the edge and cut back. OUT's extension tells its format: .png, .jpg, .y4m,
.i420 (.yuv), .nv12 or .nv21. If the library refuses, the program ends with 3 and writes nothing.)";

struct Options {
  BurstSource source;
  DenoiseSettings settings;
  std::string output, maps;
  std::string iso = "auto";
  bool json = false;
};

int ParseIso(const std::string& text) {
  int iso = 0;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, iso);
  if (parsed.ec != std::errc() || parsed.ptr != end || iso < 0) {
    FailUsage("--iso " + text + ": give a whole number of 0 or more, or auto");
  }
  return iso;
}

// What would only come out after the work is done.
void CheckOutputs(const Options& options) {
  namespace fs = std::filesystem;
  if (!IsKnownPictureName(options.output)) {
    FailUsage(options.output + ": unknown extension; use .png, .jpg, .y4m, .i420 (or .yuv), .nv12 or .nv21");
  }
  std::error_code error;
  const fs::path folder = fs::path(options.output).parent_path();
  if (!folder.empty() && !fs::is_directory(folder, error)) FailFile(folder.string() + ": no such folder");
  if (options.maps.empty()) return;
  fs::create_directories(options.maps, error);
  if (error) FailFile(options.maps + ": can't be made: " + error.message());
}

void CheckHalved(const Options& options, size_t frames) {
  if (!options.settings.halved) return;
  if (options.settings.fusion != Fusion::kOff)
    FailUsage("--halved works only without fusion: add --fusion off");
  if (frames % 2 != 0 || frames < 4) FailUsage("--halved needs 4, 6, 8 or 10 frames; see --frames");
}

// Ghost maps and weights are grey pictures, the aligned frame is what was folded in.
void WriteMaps(const std::string& folder, int frame, const FrameMaps& maps) {
  const auto write = [&](const char* name, const YuvPicture& picture) {
    if (picture.width > 0) WritePicture(folder + "/" + name + "-" + std::to_string(frame) + ".png", picture);
  };
  write("aligned", maps.aligned);
  write("ghost", maps.ghost);
  write("weight", maps.weight);
}

nlohmann::ordered_json FrameJson(const FrameReport& f) {
  nlohmann::ordered_json j = {{"ms", f.ms}};
  if (!f.reached_pipeline) return j;
  j["registration_result"] = f.registration_result;
  j["ghost_pixels"] = f.ghost_count;
  j["registration_ms"] = f.registration_ms;
  j["ghost_ms"] = f.ghost_ms;
  j["temporal_ms"] = f.temporal_ms;
  j["finish_ms"] = f.finish_ms;
  return j;
}

void Tell(const Options& options, const DenoiseResult& result, const std::string& iso_source,
          std::ostream& out) {
  double total = 0;
  size_t unaligned = 0;
  for (const FrameReport& f : result.frames) {
    total += f.ms;
    unaligned += f.reached_pipeline && f.registration_result != 0 ? 1 : 0;
  }
  if (options.json) {
    nlohmann::ordered_json j = {{"output", options.output},
                                {"result", 0},
                                {"width", result.picture.width},
                                {"height", result.picture.height},
                                {"iso", options.settings.iso},
                                {"iso_source", iso_source},
                                {"config", options.settings.config_folder},
                                {"total_ms", total}};
    for (const FrameReport& f : result.frames) j["frames"].push_back(FrameJson(f));
    out << j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
    return;
  }
  out << options.output << ": " << result.frames.size() << " frames of " << result.picture.width << " x "
      << result.picture.height << " at ISO " << options.settings.iso << " (" << iso_source << "), "
      << std::fixed << std::setprecision(1) << total / static_cast<double>(result.frames.size())
      << " ms per frame\n";
  if (unaligned > 0) out << unaligned << " of the frames could not be aligned\n";
}

void TellRefusal(const LibraryRefused& refusal, std::ostream& out) {
  const nlohmann::ordered_json j = {{"result", refusal.result()}, {"error", refusal.what()}};
  out << j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void Run(Options options, std::ostream& out) {
  CheckOutputs(options);
  DenoiseSettings& settings = options.settings;
  const bool told = options.iso != "auto";
  if (told) settings.iso = ParseIso(options.iso);
  if (settings.config_folder.empty()) settings.config_folder = ShippedConfigFolder();
  const BurstFrames burst = LoadBurst(options.source);
  CheckHalved(options, burst.frames.size());
  if (!told) settings.iso = burst.iso.value_or(kDefaultIso);
  const std::string iso_source = told ? "--iso" : burst.iso ? burst.iso_source : "default";
  std::function<void(int, const FrameMaps&)> on_maps;
  if (!options.maps.empty()) {
    on_maps = [&](int frame, const FrameMaps& maps) { WriteMaps(options.maps, frame, maps); };
  }
  try {
    const DenoiseResult result = DenoiseBurst(burst.frames, settings, on_maps);
    WritePicture(options.output, result.picture);
    Tell(options, result, iso_source, out);
  } catch (const LibraryRefused& refusal) {
    if (options.json) TellRefusal(refusal, out);
    throw;
  }
}

}  // namespace

void AddDenoiseCommand(CLI::App& app, std::ostream& out) {
  static const std::map<std::string, RawLayout> kLayouts = {
      {"nv21", RawLayout::kNv21}, {"nv12", RawLayout::kNv12}, {"i420", RawLayout::kI420}};
  static const std::map<std::string, Fusion> kFusions = {
      {"on", Fusion::kOn}, {"off", Fusion::kOff}, {"config", Fusion::kConfig}};
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("denoise", "Make one clean image of a burst");
  command->footer(kExamples);
  command
      ->add_option("FRAMES", options->source.inputs, "2 to 10 images; or a video; or a folder of 'simulate'")
      ->required();
  command->add_option("-o,--output", options->output, "the image to write")->required();
  command->add_option("--config", options->settings.config_folder,
                      "folder of multiframe.xml (default: the one shipped)");
  command
      ->add_option("--iso", options->iso,
                   "sensitivity, or auto: of burst.json, else of the first frame's EXIF, else 800")
      ->capture_default_str();
  command->add_option("--format", options->settings.layout, "layout in which the library gets the frames")
      ->transform(CLI::CheckedTransformer(kLayouts))
      ->default_str("nv21");
  command
      ->add_option("--fusion", options->settings.fusion,
                   "exposure fusion with the last frame; config: as the tuning says")
      ->transform(CLI::CheckedTransformer(kFusions))
      ->default_str("config");
  command->add_flag("--halved", options->settings.halved,
                    "mark every second frame as dropped, as a camera does that can't keep up");
  command->add_option("--frames", options->source.frames, "take this many frames (of a video 6 if not given)")
      ->check(CLI::Range(1, 1000000));
  command->add_option("--start", options->source.start, "leave out this many frames first")
      ->check(CLI::Range(0, 1000000));
  command->add_option("--size", options->source.size, "WxH of raw frames");
  command->add_option("--maps", options->maps,
                      "write ghost map, weights and aligned frame of each frame to this folder");
  command->add_flag("--json", options->json, "tell the result as JSON, with the time of each stage");
  command->callback([options, &out] { Run(*options, out); });
}

}  // namespace zolt
