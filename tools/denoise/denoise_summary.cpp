#include "denoise/denoise_summary.h"

#include <cmath>
#include <filesystem>
#include <iomanip>
#include <sstream>

namespace zolt {
namespace {

// Frames of a video or a raw file share its name.
std::string FrameName(const PreparedBurst& burst, size_t index) {
  const std::string& file = burst.frame_files[index];
  const bool shared = (index > 0 && burst.frame_files[index - 1] == file) ||
                      (index + 1 < burst.frame_files.size() && burst.frame_files[index + 1] == file);
  const std::string name = std::filesystem::path(file).filename().string();
  return shared ? "frame " + std::to_string(index) + " of " + name : name;
}

// Single precision, without the digits that double precision makes up.
double Short(float v) {
  return std::round(double{v} * 10000) / 10000;
}

std::string IsoAndBand(const zolt_burst_report& report) {
  return "ISO " + std::to_string(report.iso) + " (band " + std::to_string(report.band) + ")";
}

// Why fine mode fell back, where that is not plain to see from the frames.
std::string WhyFast(const PreparedBurst& burst, const zolt_burst_report& report) {
  if (report.fell_back == 0 || report.fused != 0 || report.merged < 2) return "";
  return burst.settings.memory_limit > 0 ? " for want of memory" : " as the noise left too little to measure";
}

nlohmann::ordered_json FrameJson(const std::string& file, const FrameReport& frame) {
  const zolt_burst_frame_report& told = frame.told;
  nlohmann::ordered_json j = {{"file", file},
                              {"use", zolt_burst_use_text(told.use)},
                              {"sharpness", Short(told.sharpness)},
                              {"shift_x", Short(told.shift_x)},
                              {"shift_y", Short(told.shift_y)},
                              {"moved_share", Short(told.moved_share)},
                              {"gain", Short(told.gain)},
                              {"milliseconds", Short(told.milliseconds)}};
  if (!frame.reached_engine) return j;
  j["ghost_pixels"] = frame.ghost_count;
  j["ghost_ms"] = frame.ghost_ms;
  j["temporal_ms"] = frame.temporal_ms;
  return j;
}

}  // namespace

std::string NoiseText(const PreparedBurst& burst, const zolt_burst_report& report) {
  if (burst.settings.iso > 0) return IsoAndBand(report) + " as named";
  if (report.noise_measured == 0) return "not to be measured, taken as " + IsoAndBand(report);
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << "luma " << report.luma_sigma << ", chroma "
       << report.chroma_sigma << " grey levels, as at " << IsoAndBand(report);
  return text.str();
}

std::string SummaryText(const std::string& output, const PreparedBurst& burst, const DenoiseResult& result) {
  const zolt_burst_report& report = result.report;
  std::ostringstream text;
  text << output << ": " << WidthOf(result.picture) << " x " << HeightOf(result.picture) << ", "
       << report.merged << " of " << report.frames << (report.frames == 1 ? " frame" : " frames")
       << ", reference " << FrameName(burst, static_cast<size_t>(report.reference))
       << (report.fused != 0 ? ", the last one fused in" : "") << ", "
       << (report.mode == ZOLT_BURST_FINE ? "fine" : "fast") << WhyFast(burst, report) << ", "
       << std::lround(report.milliseconds) << " ms\nnoise: " << NoiseText(burst, report);
  if (burst.told_iso) text << "; " << burst.told_by << " tells ISO " << *burst.told_iso;
  text << "\n";
  for (size_t i = 0; i < result.frames.size(); ++i) {
    const int use = result.frames[i].told.use;
    if (use != ZOLT_BURST_USED && use != ZOLT_BURST_IS_REFERENCE && use != ZOLT_BURST_FUSED)
      text << "left out: " << FrameName(burst, i) << ": " << zolt_burst_use_text(use) << "\n";
  }
  return text.str();
}

nlohmann::ordered_json SummaryJson(const std::string& output, const PreparedBurst& burst,
                                   const DenoiseResult& result) {
  const zolt_burst_report& r = result.report;
  const std::string& folder = burst.settings.config_folder;
  nlohmann::ordered_json j = {
      {"output", output},
      {"result", 0},
      {"width", WidthOf(result.picture)},
      {"height", HeightOf(result.picture)},
      {"mode", r.mode == ZOLT_BURST_FINE ? "fine" : "fast"},
      {"fell_back", r.fell_back != 0},
      {"given", r.frames},
      {"merged", r.merged},
      {"reference", r.reference},
      {"fused", r.fused != 0},
      {"noise_measured", r.noise_measured != 0},
      {"luma_sigma", Short(r.luma_sigma)},
      {"chroma_sigma", Short(r.chroma_sigma)},
      {"blotchiness", Short(r.blotchiness)},
      {"texture", Short(r.texture)},
      {"iso", r.iso},
      {"band", r.band},
      {"told_iso", nullptr},
      {"told_by", nullptr},
      {"config", folder.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(folder)},
      {"peak_memory", r.peak_memory},
      {"milliseconds", Short(r.milliseconds)},
      {"finish_ms", result.finish_ms}};
  if (burst.told_iso) {
    j["told_iso"] = *burst.told_iso;
    j["told_by"] = burst.told_by;
  }
  for (size_t i = 0; i < result.frames.size(); ++i)
    j["frames"].push_back(FrameJson(burst.frame_files[i], result.frames[i]));
  return j;
}

}  // namespace zolt
