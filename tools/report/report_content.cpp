#include "report/report_content.h"

#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <sstream>

#include "burst/tuning.h"
#include "common/errors.h"
#include "compare/quality.h"
#include "config/config_keys.h"
#include "denoise/denoise_summary.h"
#include "denoise/layer_pictures.h"
#include "media/colour.h"
#include "media/media_read.h"
#include "report/report_pictures.h"
#include "simulate/burst_folder.h"

namespace zolt {
namespace {

namespace fs = std::filesystem;

constexpr int kCropSide = 240;  // fits the width of a phone's window
constexpr int kMapWidth = 400;
constexpr double kDifferenceGain = 4;

std::string Short(double v, int digits = 1) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << v;
  return text.str();
}

std::string SizeText(int width, int height) {
  return std::to_string(width) + " \u00d7 " + std::to_string(height);
}

std::string SizeText(const YuvPicture& p) {
  return SizeText(p.width, p.height);
}

// Gathers the maps of each frame while the burst runs; full-size ones of ten frames would fill the memory.
class MapGallery {
 public:
  MapGallery(const YuvPicture& frame, size_t frames)
      : motion_(frame.width, frame.height), white_(25 * static_cast<int>(frames - 1)) {}

  void Add(int frame, const FrameMaps& maps) {
    const std::string name = "Frame " + std::to_string(frame);
    if (maps.ghost.width > 0) {
      int64_t moved = 0;
      for (size_t i = 0; i < motion_.y.size(); ++i) {
        motion_.y[i] = std::max(motion_.y[i], maps.ghost.y[i]);
        moved += maps.ghost.y[i];
      }
      const double share = static_cast<double>(moved) / (2.55 * static_cast<double>(motion_.y.size()));
      images_.push_back(
          EmbeddedImage(ScaledDown(maps.ghost, kMapWidth), name + " ghost, " + Short(share, 0) + "\u00a0%"));
    }
    if (maps.weight.width == 0) return;
    YuvPicture weight = ScaledDown(maps.weight, kMapWidth);
    for (uint8_t& v : weight.y) v = static_cast<uint8_t>(std::min(255, v * 255 / white_));
    images_.push_back(EmbeddedImage(weight, name + " weight"));
  }

  /// Luma 255 where a pixel moved in any of the frames.
  const YuvPicture& motion() const { return motion_; }
  const std::vector<PageImage>& images() const { return images_; }

 private:
  YuvPicture motion_;
  int white_;
  std::vector<PageImage> images_;
};

struct Truth {
  std::optional<YuvPicture> first, last;  // as the first and as the last frame was exposed
};

std::optional<BurstInfo> InfoOf(const BurstSource& source) {
  std::error_code ignored;
  const bool folder = source.inputs.size() == 1 && fs::is_directory(source.inputs.front(), ignored);
  if (!folder) return std::nullopt;
  return ReadBurstInfo(source.inputs.front());
}

YuvPicture ReadTruth(const std::string& path, const YuvPicture& frame) {
  YuvPicture truth = ReadPicture(path);
  if (truth.width != frame.width || truth.height != frame.height)
    FailUsage(path + " is " + SizeText(truth) + ", but the frames are " + SizeText(frame));
  return truth;
}

Truth FindTruth(const ReportSettings& settings, const std::optional<BurstInfo>& info,
                const YuvPicture& frame) {
  Truth truth;
  if (!settings.truth.empty()) {
    truth.first = truth.last = ReadTruth(settings.truth, frame);
    return truth;
  }
  // The folder's truth is that of its first frame.
  if (!info || settings.denoise.source.start > 0) return truth;
  const fs::path folder = settings.denoise.source.inputs.front();
  const auto read = [&](const std::string& name) -> std::optional<YuvPicture> {
    std::error_code ignored;
    const std::string path = (folder / name).string();
    if (name.empty() || !fs::exists(path, ignored)) return std::nullopt;
    return ReadTruth(path, frame);
  };
  truth.first = read(info->truth);
  truth.last = info->truth_last.empty() ? truth.first : read(info->truth_last);
  return truth;
}

std::vector<CropPlace> Places(const ReportSettings& settings, const YuvPicture& result,
                              const YuvPicture& motion, int side) {
  if (settings.crops.empty()) return TellingPlaces(result, motion, side);
  std::vector<CropPlace> places;
  for (const auto& [x, y] : settings.crops) {
    places.push_back(
        {"Crop", std::clamp(x, 0, result.width - side) & ~1, std::clamp(y, 0, result.height - side) & ~1});
  }
  return places;
}

void AddCrops(ReportPage* page, const std::vector<CropPlace>& places, int side, const YuvPicture& before,
              const YuvPicture& after, const std::optional<YuvPicture>& truth) {
  for (const CropPlace& place : places) {
    const auto cut = [&](const YuvPicture& p) { return CroppedAt(p, place.x, place.y, side, side); };
    PageCrop crop{place.name, "at " + std::to_string(place.x) + ", " + std::to_string(place.y), {}};
    crop.images.push_back(EmbeddedImage(cut(before), "Reference", true));
    crop.images.push_back(EmbeddedImage(cut(after), "Result", true));
    if (truth) crop.images.push_back(EmbeddedImage(cut(*truth), "Truth", true));
    const YuvPicture left = truth ? DifferencePicture(cut(after), cut(*truth), kDifferenceGain)
                                  : DifferencePicture(cut(before), cut(after), kDifferenceGain);
    crop.images.push_back(EmbeddedImage(
        left, truth ? "Result \u2212 truth, \u00d7 4" : "Reference \u2212 result, \u00d7 4", true));
    page->crops.push_back(crop);
  }
}

void AddPictures(ReportPage* page, const YuvPicture& before, const YuvPicture& after,
                 const std::optional<YuvPicture>& truth, int width) {
  const auto shown = [&](const YuvPicture& p, const std::string& caption) {
    return EmbeddedImage(ScaledDown(p, width), caption);
  };
  page->before = shown(before, "Reference");
  page->after = shown(after, "Result");
  if (before.width > width) {
    page->scale_note = "The pictures are scaled down from " + SizeText(before) +
                       ", which hides some of the noise; the crops below are not.";
  }
  page->difference_note = "Mid grey is no difference, each grey level of it is shown as 4.";
  page->differences.push_back(shown(DifferencePicture(before, after, kDifferenceGain),
                                    "Reference \u2212 result: what was taken away"));
  if (!truth) return;
  page->differences.push_back(
      shown(DifferencePicture(after, *truth, kDifferenceGain), "Result \u2212 truth: what is still wrong"));
}

PageRows SettingsRows(const ReportSettings& settings, const PreparedBurst& burst,
                      const std::optional<BurstInfo>& info) {
  const DenoiseSettings& denoise = burst.settings;
  std::string inputs;
  for (const std::string& input : settings.denoise.source.inputs)
    inputs += (inputs.empty() ? "" : ", ") + input;
  PageRows rows = {{"Burst", inputs},
                   {"Frames", std::to_string(burst.frames.size()) + " of " +
                                  SizeText(WidthOf(burst.frames.front()), HeightOf(burst.frames.front()))},
                   {"Mode", denoise.mode == ZOLT_BURST_FINE ? "fine" : "fast"},
                   {"ISO", settings.denoise.iso},
                   {"Reference", settings.denoise.reference},
                   {"Blurred frames", denoise.keep_all ? "merged too" : "left out"},
                   {"Brighter last frame", denoise.fusion == ZOLT_BURST_FUSION_OFF ? "left out" : "fused in"},
                   {"Tuning", denoise.config_folder.empty() ? "built in" : denoise.config_folder}};
  if (burst.told_iso)
    rows.emplace_back("ISO that " + burst.told_by + " tells", std::to_string(*burst.told_iso));
  if (settings.denoise.source.start > 0)
    rows.emplace_back("Frames left out first", std::to_string(settings.denoise.source.start));
  if (!settings.truth.empty()) rows.emplace_back("Truth", settings.truth);
  if (!info) return rows;
  rows.emplace_back("Simulated from", info->photo.empty() ? "the built-in scene" : info->photo);
  rows.emplace_back("Hand motion", Short(info->motion, 2));
  rows.emplace_back("Moving object", info->ghost ? "yes" : "no");
  rows.emplace_back("Noise", info->white ? "white" : "correlated, as a phone's processing leaves it");
  if (info->last_ev != 0) rows.emplace_back("Last frame's exposure", Short(info->last_ev, 2) + " stops");
  rows.emplace_back("Seed", std::to_string(info->seed));
  return rows;
}

// The keys without a band and those of the band that served the burst.
PageRows TuningRows(const DenoiseSettings& settings, const zolt_burst_report& told) {
  MfConfig config;
  const bool built_in = settings.config_folder.empty();
  const TuningKind kind = KindOf(told.mode, told.fused != 0);
  if (LoadTuning(built_in ? nullptr : settings.config_folder.c_str(), kind, &config) != ZOLT_BURST_OK)
    return {};
  PageRows rows;
  for (int i = 0; i < kConfigKeys; ++i) {
    const ConfigKey key = ConfigKeyAt(i);
    if (key.band != 0 && key.band != told.band) continue;
    std::ostringstream value;
    const int count = key.meaning->type == ConfigType::kIntList ? kChromaNrEntries : 1;
    for (int k = 0; k < count; ++k) {
      if (k > 0) value << " ";
      key.meaning->type == ConfigType::kFloat ? value << *FloatAt(&config, key)
                                              : value << IntAt(&config, key)[k];
    }
    rows.emplace_back(key.path, value.str());
  }
  return rows;
}

PageRow FrameRow(const std::string& file, const zolt_burst_frame_report& told) {
  const bool reference = told.use == ZOLT_BURST_IS_REFERENCE;
  const std::string shift = Short(told.shift_x, 2) + ", " + Short(told.shift_y, 2);
  return {fs::path(file).filename().string(),
          zolt_burst_use_text(told.use),
          reference ? "" : shift,
          Short(told.sharpness, 2),
          Short(told.gain, 2),
          reference ? "" : Short(100 * told.moved_share, 1)};
}

// What is no frame's own: the noise measure and the choice of frames, and the filter.
std::vector<PageTime> TimingOf(const DenoiseResult& result) {
  std::vector<PageTime> rows;
  double rest = result.report.milliseconds;
  double finish = result.finish_ms;
  for (size_t i = 0; i < result.frames.size(); ++i) {
    const FrameReport& f = result.frames[i];
    const double align = f.told.milliseconds - f.ghost_ms - f.temporal_ms - f.finish_ms;
    rows.push_back({std::to_string(i), std::max(0.0, align), f.ghost_ms, f.temporal_ms, f.finish_ms, 0});
    rest -= f.told.milliseconds;
    finish -= f.finish_ms;
  }
  rows.push_back({"Burst", 0, 0, 0, std::max(0.0, finish), std::max(0.0, rest - finish)});
  return rows;
}

void AddFacts(ReportPage* page, const PreparedBurst& burst, const DenoiseResult& result) {
  const zolt_burst_report& report = result.report;
  const bool all = report.merged == report.frames;
  page->facts = {{all ? "frames" : "frames merged",
                  std::to_string(report.merged) + (all ? "" : " of " + std::to_string(report.frames))},
                 {"size", SizeText(WidthOf(result.picture), HeightOf(result.picture))},
                 {burst.settings.iso > 0 ? "ISO, as named" : "ISO that the noise amounts to",
                  std::to_string(report.iso)}};
  if (report.noise_measured != 0) {
    page->facts.emplace_back("grey levels of noise, luma and chroma",
                             Short(report.luma_sigma) + ", " + Short(report.chroma_sigma));
  }
  if (page->result) {
    page->facts.emplace_back(
        "PSNR luma, reference to result",
        Short(page->first_frame->psnr_luma) + " \u2192 " + Short(page->result->psnr_luma) + " dB");
  }
  page->facts.emplace_back("ms in all", Short(report.milliseconds, 0));
}

}  // namespace

ReportPage MakeReport(const ReportSettings& settings) {
  const PreparedBurst burst = PrepareBurst(settings.denoise, true);
  const std::optional<BurstInfo> info = InfoOf(settings.denoise.source);
  const YuvPicture first = YuvOf(burst.frames.front());  // of the size of all
  const int side = std::min({kCropSide, first.width & ~1, first.height & ~1});
  for (const auto& [x, y] : settings.crops) {
    if (x < 0 || y < 0 || x >= first.width || y >= first.height)
      FailUsage("--crop " + std::to_string(x) + " " + std::to_string(y) + " lies outside the frames of " +
                SizeText(first));
  }
  const Truth truths = FindTruth(settings, info, first);
  MapGallery maps(first, burst.frames.size());
  const DenoiseResult result = DenoiseBurst(ViewsOf(burst.frames), burst.settings,
                                            [&](int frame, const FrameMaps& seen) { maps.Add(frame, seen); });
  const YuvPicture before = YuvOf(burst.frames[static_cast<size_t>(result.report.reference)]);
  const YuvPicture after = YuvOf(result.picture);
  // The truth shows the first frame's moment and framing; a fused result has the last frame's exposure.
  std::optional<YuvPicture> truth = result.report.fused != 0 ? truths.last : truths.first;
  if (result.report.reference != 0 && settings.truth.empty()) truth.reset();

  ReportPage page;
  const fs::path input = fs::absolute(settings.denoise.source.inputs.front()).lexically_normal();
  page.title = (input.has_filename() ? input : input.parent_path()).filename().string();
  page.subtitle = "Burst denoising report of zolt-burst";
  if (truths.first && truth) {
    page.first_frame = CompareQuality(before, *truths.first);
    page.result = CompareQuality(after, *truth);
  }
  AddFacts(&page, burst, result);
  AddPictures(&page, before, after, truth, settings.width);
  AddCrops(&page, Places(settings, after, maps.motion(), side), side, before, after, truth);
  page.maps = maps.images();
  for (size_t i = 0; i < result.frames.size(); ++i)
    page.frames.push_back(FrameRow(burst.frame_files[i], result.frames[i].told));
  page.timing = TimingOf(result);
  page.settings = SettingsRows(settings, burst, info);
  page.tuning = TuningRows(burst.settings, result.report);
  return page;
}

}  // namespace zolt
