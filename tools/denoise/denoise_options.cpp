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
  static const std::map<std::string, RawLayout> kLayouts = {
      {"nv21", RawLayout::kNv21}, {"nv12", RawLayout::kNv12}, {"i420", RawLayout::kI420}};
  static const std::map<std::string, Fusion> kFusions = {
      {"on", Fusion::kOn}, {"off", Fusion::kOff}, {"config", Fusion::kConfig}};
  command
      ->add_option("FRAMES", options->source.inputs,
                   "2 to 10 images; or a video; or a folder; - is standard input")
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
  AddReadingOptions(command, options);
}

PreparedBurst PrepareBurst(const DenoiseOptions& options) {
  PreparedBurst prepared{{}, options.settings, "--iso"};
  DenoiseSettings& settings = prepared.settings;
  const bool told = options.iso != "auto";
  if (told) settings.iso = ParseIso(options.iso);
  if (settings.config_folder.empty()) settings.config_folder = ShippedConfigFolder();
  BurstSource source = options.source;
  source.read.most_pixels = options.megapixels * kMegapixel;
  BurstFrames burst = LoadBurst(source);
  CheckHalved(settings, burst.frames.size());
  if (!told) {
    settings.iso = burst.iso.value_or(kDefaultIso);
    prepared.iso_source = burst.iso ? burst.iso_source : "default";
  }
  prepared.frames = std::move(burst.frames);
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
  const bool each = burst.files.size() == burst.shots.size();
  for (size_t i = 0; i < burst.files.size(); ++i) {
    err << burst.files[i] << ": " << ExposureLine(each ? std::vector<ShotFacts>{burst.shots[i]} : burst.shots)
        << "\n";
  }
  const Metadata& m = burst.metadata;
  err << "metadata of the reference: Exif " << m.exif.size() << " bytes, XMP " << m.xmp.size() << ", IPTC "
      << m.iptc.size() << ", colour profile " << m.icc.size() << ", orientation " << m.orientation << "\n";
}

}  // namespace zolt
