#include "denoise/denoise_options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <map>
#include <utility>

#include "common/errors.h"

namespace zolt {
namespace {

constexpr int kDefaultIso = 800;

int ParseIso(const std::string& text) {
  int iso = 0;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, iso);
  if (parsed.ec != std::errc() || parsed.ptr != end || iso < 0) {
    FailUsage("--iso " + text + ": give a whole number of 0 or more, or auto");
  }
  return iso;
}

void CheckHalved(const DenoiseSettings& settings, size_t frames) {
  if (!settings.halved) return;
  if (settings.fusion != Fusion::kOff) FailUsage("--halved works only without fusion: add --fusion off");
  if (frames % 2 != 0 || frames < 4) FailUsage("--halved needs 4, 6, 8 or 10 frames; see --frames");
}

}  // namespace

void AddDenoiseOptions(CLI::App* command, DenoiseOptions* options) {
  static const std::map<std::string, RawLayout> kLayouts = {
      {"nv21", RawLayout::kNv21}, {"nv12", RawLayout::kNv12}, {"i420", RawLayout::kI420}};
  static const std::map<std::string, Fusion> kFusions = {
      {"on", Fusion::kOn}, {"off", Fusion::kOff}, {"config", Fusion::kConfig}};
  command
      ->add_option("FRAMES", options->source.inputs, "2 to 10 images; or a video; or a folder of 'simulate'")
      ->required();
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
}

PreparedBurst PrepareBurst(const DenoiseOptions& options) {
  PreparedBurst prepared{{}, options.settings, "--iso"};
  DenoiseSettings& settings = prepared.settings;
  const bool told = options.iso != "auto";
  if (told) settings.iso = ParseIso(options.iso);
  if (settings.config_folder.empty()) settings.config_folder = ShippedConfigFolder();
  BurstFrames burst = LoadBurst(options.source);
  CheckHalved(settings, burst.frames.size());
  if (!told) {
    settings.iso = burst.iso.value_or(kDefaultIso);
    prepared.iso_source = burst.iso ? burst.iso_source : "default";
  }
  prepared.frames = std::move(burst.frames);
  return prepared;
}

}  // namespace zolt
