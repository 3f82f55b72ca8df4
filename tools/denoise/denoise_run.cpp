#include "denoise/denoise_run.h"

#include <chrono>
#include <exception>
#include <filesystem>

#include "burst/work_geometry.h"
#include "common/progress.h"
#include "common/stop_request.h"
#include "denoise/layer_pictures.h"
#include "session/debug_observer.h"

namespace zolt {
namespace {

using OnMaps = std::function<void(int, const FrameMaps&)>;

double Milliseconds(int64_t microseconds) {
  return static_cast<double>(microseconds) / 1000;
}

// Listens to the engine while it lives.
class Listener {
 public:
  Listener(const zolt_burst_picture& frame, const OnMaps& on_maps, DenoiseResult* result)
      : work_(MakeWorkGeometry(frame.width, frame.height)), on_maps_(on_maps), result_(result) {
    spent_.resize(result->frames.size());
    SetFrameObserver(&Hear, this);
  }
  ~Listener() { SetFrameObserver(nullptr, nullptr); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  bool failed() const { return failure_ != nullptr; }
  void RethrowFailure() const {
    if (failure_) std::rethrow_exception(failure_);
  }

  /// Takes off what drawing maps took of a frame's time.
  void MendTimes() const {
    for (size_t i = 0; i < spent_.size(); ++i) {
      result_->frames[i].told.milliseconds -= spent_[i];
      result_->report.milliseconds -= spent_[i];
    }
  }

 private:
  // Exceptions must not cross the library: the next progress call ends the burst.
  static void Hear(void* user, const FrameObservation& seen) {
    auto* self = static_cast<Listener*>(user);
    const auto begin = std::chrono::steady_clock::now();
    try {
      if (!self->failed()) self->Note(seen);
    } catch (...) {
      self->failure_ = std::current_exception();
    }
    const std::chrono::duration<float, std::milli> spent = std::chrono::steady_clock::now() - begin;
    if (seen.index >= 0) self->spent_[seen.index] += spent.count();
  }

  void Note(const FrameObservation& seen) {
    const bool done = seen.moment == FrameObservation::Moment::kDone;
    if (done) result_->finish_ms += Milliseconds(seen.finish_us);
    if (seen.index < 0) return;
    if (!done) return DrawMaps(seen);
    FrameReport& report = result_->frames[seen.index];
    report.reached_engine = true;
    report.ghost_count = seen.ghost_count;
    report.ghost_ms = Milliseconds(seen.ghost_us);
    report.temporal_ms = Milliseconds(seen.temporal_us);
    report.finish_ms = Milliseconds(seen.finish_us);
  }

  void DrawMaps(const FrameObservation& seen) const {
    if (!on_maps_) return;
    FrameMaps maps;
    maps.aligned = PictureInside(seen.aligned, work_);
    if (seen.ghost_map != nullptr) maps.ghost = PictureInside(seen.ghost_map, work_);
    if (seen.weight_map != nullptr) maps.weight = PictureInside(seen.weight_map, work_);
    on_maps_(seen.index, maps);
  }

  const WorkGeometry work_;
  const OnMaps& on_maps_;
  DenoiseResult* result_;
  std::vector<float> spent_;  // milliseconds for each frame
  std::exception_ptr failure_;
};

struct Watch {
  Progress* bar;
  const Listener* listener;

  static int Hear(void* user, double done) {
    const auto* self = static_cast<const Watch*>(user);
    self->bar->Show(done);
    return StopRequest::Heard() || self->listener->failed() ? 1 : 0;
  }
};

zolt_burst_options OptionsOf(const DenoiseSettings& settings) {
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  options.iso = settings.iso;
  options.reference = settings.reference;
  options.fusion = settings.fusion;
  options.mode = settings.mode;
  options.keep_all = settings.keep_all ? 1 : 0;
  options.memory_limit = settings.memory_limit;
  if (settings.config_folder.empty()) return options;
  const std::string file = (std::filesystem::path(settings.config_folder) / "multiframe.xml").string();
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(file, ignored))
    FailFile(file + ": no such tuning file; see --config");
  options.tuning_folder = settings.config_folder.c_str();
  return options;
}

}  // namespace

LibraryRefused::LibraryRefused(int32_t result, const std::string& where)
    : ToolError(kExitRefused, where + ": the library refused with result " + std::to_string(result) + ": " +
                                  zolt_burst_error_text(result)),
      result_(result) {}

DenoiseResult DenoiseBurst(const std::vector<zolt_burst_picture>& frames, const DenoiseSettings& settings,
                           const OnMaps& on_maps) {
  zolt_burst_options options = OptionsOf(settings);
  DenoiseResult result;
  const int width = frames.front().width, height = frames.front().height;
  result.picture = YuvPicture(width, height);
  if (settings.rgb_result) result.picture = RgbPicture(width, height);
  result.frames.resize(frames.size());
  zolt_burst_report_init(&result.report);
  std::vector<zolt_burst_frame_report> told(frames.size());
  for (zolt_burst_frame_report& each : told) zolt_burst_frame_report_init(&each);

  const StopRequest stop;
  Progress bar("denoise", 100);
  const Listener listener(frames.front(), on_maps, &result);
  Watch watch = {&bar, &listener};
  options.progress = &Watch::Hear;
  options.progress_user = &watch;
  const zolt_burst_picture output = std::visit([](const auto& p) { return ViewOf(p); }, result.picture);
  const int32_t code = zolt_burst_denoise(frames.data(), static_cast<int32_t>(frames.size()), &options,
                                          &output, &result.report, told.data());
  listener.RethrowFailure();
  if (code == ZOLT_BURST_CANCELLED) throw ToolError(kExitStopped, "stopped");
  if (code != ZOLT_BURST_OK) {
    const std::string where = std::to_string(frames.size()) + " frames of " + std::to_string(width) + " x " +
                              std::to_string(height);
    if (code != ZOLT_BURST_MEMORY_LIMIT) throw LibraryRefused(code, where);
    const uint64_t need =
        zolt_burst_memory_needed(width, height, static_cast<int32_t>(frames.size()), ZOLT_BURST_FAST);
    throw LibraryRefused(code,
                         where + " (raise --memory-limit to " + std::to_string((need >> 20) + 1) + "M)");
  }
  for (size_t i = 0; i < told.size(); ++i) result.frames[i].told = told[i];
  listener.MendTimes();
  if (result.report.mode == ZOLT_BURST_FINE) {
    // The layer's own finish is what no frame's time holds.
    result.finish_ms = result.report.milliseconds;
    for (const FrameReport& each : result.frames) result.finish_ms -= each.told.milliseconds;
  }
  return result;
}

}  // namespace zolt
