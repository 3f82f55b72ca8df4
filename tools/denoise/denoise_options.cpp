#include "denoise/denoise_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
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

const std::map<std::string, int>& ModeNames() {
  static const std::map<std::string, int> modes = {{"fine", ZOLT_BURST_FINE}, {"fast", ZOLT_BURST_FAST}};
  return modes;
}

namespace {

void AddReadingOptions(CLI::App* command, DenoiseOptions* options) {
  static const std::map<std::string, InputOrder> kOrders = {
      {"given", InputOrder::kGiven}, {"name", InputOrder::kName}, {"time", InputOrder::kTime}};
  command
      ->add_option("--sort", options->source.order,
                   "order of the files: given, name (9 before 10), or time (the camera's, with sub-seconds)")
      ->transform(CLI::CheckedTransformer(kOrders))
      ->default_str("given");
  command->add_flag("--fast-preview", options->source.read.half_size,
                    "read cameras' raw files at half their width and height, much faster");
  command->add_option("--max-megapixels", options->megapixels, "refuse frames that are larger than this")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str();
  command->add_flag("-q,--quiet", options->quiet, "tell nothing but errors");
  command->add_flag("-v,--verbose", options->verbose, "tell what was read of each file");
}

}  // namespace

void AddDenoiseOptions(CLI::App* command, DenoiseOptions* options) {
  static const std::map<std::string, int> kFusions = {
      {"auto", ZOLT_BURST_FUSION_AUTO}, {"on", ZOLT_BURST_FUSION_AUTO}, {"off", ZOLT_BURST_FUSION_OFF}};
  DenoiseSettings& settings = options->settings;
  command
      ->add_option("FRAMES", options->source.inputs, "images; or a video; or a folder; - is standard input")
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
      ->transform(CLI::CheckedTransformer(ModeNames()))
      ->default_str("fine");
  command->add_option("--memory-limit", options->memory_limit,
                      "most memory that the library may take, in bytes or like 800M, with K, M or G");
  command->add_option("--frames", options->source.frames, "take this many frames (of a video 6 if not given)")
      ->check(CLI::Range(1, 1000000));
  command->add_option("--start", options->source.start, "leave out this many frames first")
      ->check(CLI::Range(0, 1000000));
  command->add_option("--size", options->source.size, "WxH of raw frames");
  AddReadingOptions(command, options);
}

PreparedBurst PrepareBurst(const DenoiseOptions& options, bool rgb) {
  PreparedBurst prepared;
  DenoiseSettings& settings = prepared.settings;
  settings = options.settings;
  settings.iso = ParseNumberOrAuto(options.iso, "--iso", 0, 1);
  settings.reference = ParseNumberOrAuto(options.reference, "--reference", -1, 0);
  if (!options.memory_limit.empty())
    settings.memory_limit = ParseBytes(options.memory_limit, "--memory-limit");
  BurstSource source = options.source;
  source.read.most_pixels = options.megapixels * kMegapixel;
  // Only fine mode has chroma of full size.
  source.keep_rgb = rgb && settings.mode == ZOLT_BURST_FINE;
  BurstFrames burst = LoadBurst(source);
  settings.rgb_result = std::any_of(burst.frames.begin(), burst.frames.end(), IsRgb);
  const int count = static_cast<int>(burst.frames.size());
  if (settings.reference >= count) {
    FailUsage("--reference " + options.reference + ": there are " + std::to_string(count) +
              " frames, counted from 0");
  }
  prepared.frames = std::move(burst.frames);
  prepared.frame_files = std::move(burst.frame_files);
  prepared.told_iso = burst.iso;
  prepared.told_by = burst.iso_source;
  prepared.metadata = std::move(burst.metadata);
  prepared.shots = std::move(burst.shots);
  prepared.files = std::move(burst.files);
  prepared.notes = std::move(burst.notes);
  return prepared;
}

void TellNotes(const DenoiseOptions& options, const PreparedBurst& burst, std::ostream& err) {
  if (options.quiet) return;
  for (const std::string& note : burst.notes) err << "zolt-burst: " << note << "\n";
  if (!options.verbose) return;
  size_t frame = 0;
  for (const std::string& file : burst.files) {
    std::vector<ShotFacts> shots;
    for (; frame < burst.shots.size() && burst.frame_files[frame] == file; ++frame)
      shots.push_back(burst.shots[frame]);
    if (shots.empty()) continue;  // all of its frames were left out
    const Metadata& m = burst.metadata[frame - 1];
    err << file << ": " << ExposureLine(shots) << "; Exif " << m.exif.size() << " bytes, XMP " << m.xmp.size()
        << ", IPTC " << m.iptc.size() << ", colour profile " << m.icc.size() << ", orientation "
        << m.orientation << "\n";
  }
}

}  // namespace zolt
