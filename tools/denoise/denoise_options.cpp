#include "denoise/denoise_options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <map>
#include <utility>

#include "common/errors.h"
#include "common/size_option.h"

namespace zolt {

int ParseNumberOrAuto(const std::string& text, const std::string& option, int automatic, int lowest) {
  if (text == "auto") return automatic;
  int number = 0;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  if (parsed.ec != std::errc() || parsed.ptr != end || number < lowest)
    FailUsage(option + " " + text + ": give a whole number of " + std::to_string(lowest) +
              " or more, or auto");
  return number;
}

void AddDenoiseOptions(CLI::App* command, DenoiseOptions* options) {
  static const std::map<std::string, int> kFusions = {
      {"auto", ZOLT_BURST_FUSION_AUTO}, {"on", ZOLT_BURST_FUSION_AUTO}, {"off", ZOLT_BURST_FUSION_OFF}};
  static const std::map<std::string, int> kModes = {{"fine", ZOLT_BURST_FINE}, {"fast", ZOLT_BURST_FAST}};
  DenoiseSettings& settings = options->settings;
  command->add_option("FRAMES", options->source.inputs, "images; or a video; or a folder of 'simulate'")
      ->required();
  command->add_option("--config", settings.config_folder,
                      "folder of multiframe.xml (default: the built-in tuning)");
  command
      ->add_option("--iso", options->iso,
                   "sensitivity, which selects the tuning's band; auto: the noise is measured")
      ->capture_default_str();
  command
      ->add_option("--reference", options->reference,
                   "frame that the others are aligned to, from 0; auto: the sharpest of the first ones")
      ->capture_default_str();
  command->add_flag("--keep-all", settings.keep_all, "merge blurred frames too");
  command
      ->add_option("--fusion", settings.fusion,
                   "auto: a brighter last frame is fused in; off: it is left out")
      ->transform(CLI::CheckedTransformer(kFusions))
      ->default_str("auto");
  command
      ->add_option("--mode", settings.mode, "fine: most texture, least noise; fast: as a camera has time for")
      ->transform(CLI::CheckedTransformer(kModes))
      ->default_str("fine");
  command->add_option("--memory-limit", options->memory_limit,
                      "most memory that the library may take, in bytes or like 800M, with K, M or G");
  command->add_option("--frames", options->source.frames, "take this many frames (of a video 6 if not given)")
      ->check(CLI::Range(1, 1000000));
  command->add_option("--start", options->source.start, "leave out this many frames first")
      ->check(CLI::Range(0, 1000000));
  command->add_option("--size", options->source.size, "WxH of raw frames");
}

PreparedBurst PrepareBurst(const DenoiseOptions& options) {
  PreparedBurst prepared;
  DenoiseSettings& settings = prepared.settings;
  settings = options.settings;
  settings.iso = ParseNumberOrAuto(options.iso, "--iso", 0, 1);
  settings.reference = ParseNumberOrAuto(options.reference, "--reference", -1, 0);
  if (!options.memory_limit.empty())
    settings.memory_limit = ParseBytes(options.memory_limit, "--memory-limit");
  BurstFrames burst = LoadBurst(options.source);
  const int count = static_cast<int>(burst.frames.size());
  if (settings.reference >= count) {
    FailUsage("--reference " + options.reference + ": there are " + std::to_string(count) +
              " frames, counted from 0");
  }
  prepared.frames = std::move(burst.frames);
  prepared.frame_files = std::move(burst.frame_files);
  prepared.told_iso = burst.iso;
  prepared.told_by = burst.iso_source;
  return prepared;
}

}  // namespace zolt
