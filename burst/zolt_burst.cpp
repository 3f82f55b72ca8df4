#include "zolt_burst.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "burst/burst_run.h"
#include "burst/memory_need.h"
#include "burst/picture/kept_picture.h"
#include "burst/tuning.h"

namespace zolt {
namespace {

/// The engine's hooks and threads are the process's, and its XML reader's encoding, so one call works at a
/// time.
std::mutex& Order() {
  static std::mutex order;
  return order;
}

// Whatever a caller's record does not have, because it is older, keeps its default; what this library doesn't
/// know, because it is older, isn't looked at.
template <typename Record>
void ReadRecord(const Record* from, Record* to) {
  std::memcpy(to, from, std::min<size_t>(from->size, sizeof(Record)));
}

template <typename Record>
void WriteRecord(Record value, Record* to) {
  value.size = to->size;
  std::memcpy(to, &value, std::min<size_t>(to->size, sizeof(Record)));
}

template <typename Record>
Record* RecordAt(Record* first, int32_t index) {
  using Byte = std::conditional_t<std::is_const_v<Record>, const char, char>;
  return reinterpret_cast<Record*>(reinterpret_cast<Byte*>(first) + static_cast<size_t>(index) * first->size);
}

int32_t CheckOptions(const zolt_burst_options& o) {
  const bool mode = o.mode == ZOLT_BURST_FAST || o.mode == ZOLT_BURST_FINE;
  const bool fusion = o.fusion == ZOLT_BURST_FUSION_AUTO || o.fusion == ZOLT_BURST_FUSION_OFF;
  const bool expected = o.expected_frames == 0 || (o.expected_frames >= 2 && o.expected_frames <= 10);
  const bool hooks = (o.hooks.alloc == nullptr) == (o.hooks.free == nullptr);
  return mode && fusion && expected && hooks && o.iso >= 0 && o.reference >= -1 ? ZOLT_BURST_OK
                                                                                : ZOLT_BURST_BAD_ARGUMENT;
}

/// Options as a burst keeps them: checked, whole, with the tuning read.
struct Settings {
  zolt_burst_options options;
  MfConfig config;

  int32_t Set(const zolt_burst_options* given) {
    zolt_burst_options_init(&options);
    if (given != nullptr) {
      if (given->size < sizeof(uint32_t)) return ZOLT_BURST_BAD_ARGUMENT;
      ReadRecord(given, &options);
    }
    const int32_t wrong = CheckOptions(options);
    if (wrong != ZOLT_BURST_OK) return wrong;
    const int32_t result = LoadTuning(options.tuning_folder, &config);
    options.tuning_folder = nullptr;  // the caller's
    return result;
  }
};

int32_t CheckMemory(const zolt_burst_options& options, const zolt_burst_picture& frame, int kept_frames) {
  if (options.memory_limit == 0) return ZOLT_BURST_OK;
  const uint64_t need = MemoryNeed(frame.width, frame.height, kept_frames, ZOLT_BURST_FAST);
  return need <= options.memory_limit ? ZOLT_BURST_OK : ZOLT_BURST_MEMORY_LIMIT;
}

int32_t CheckLike(const zolt_burst_picture* picture, int32_t width, int32_t height) {
  const int32_t wrong = CheckPicture(picture);
  if (wrong != ZOLT_BURST_OK) return wrong;
  return picture->width == width && picture->height == height ? ZOLT_BURST_OK : ZOLT_BURST_UNLIKE_SIZES;
}

int32_t CheckFrames(const zolt_burst_picture* frames, int32_t count) {
  if (frames == nullptr || count < 0) return ZOLT_BURST_BAD_ARGUMENT;
  if (count == 0) return ZOLT_BURST_NO_FRAMES;
  if (frames->size < sizeof(uint32_t)) return ZOLT_BURST_BAD_PICTURE;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t wrong = CheckLike(RecordAt(frames, i), frames->width, frames->height);
    if (wrong != ZOLT_BURST_OK) return wrong;
  }
  return ZOLT_BURST_OK;
}

/// No exception leaves the library.
template <typename Work>
int32_t Guarded(const Work& work) {
  try {
    return work();
  } catch (const BurstStopped& stopped) {
    return stopped.result;
  } catch (const std::system_error&) {
    return ZOLT_BURST_NO_THREADS;
  } catch (const std::exception&) {
    return ZOLT_BURST_NO_MEMORY;
  }
}

void TellBurst(const BurstRun& run, zolt_burst_report* report, zolt_burst_frame_report* frame_reports,
               int32_t capacity) {
  if (report != nullptr) WriteRecord(run.report(), report);
  const auto count = std::min(capacity, static_cast<int32_t>(run.frames().size()));
  for (int32_t i = 0; frame_reports != nullptr && i < count; ++i) {
    WriteRecord(run.frames()[static_cast<size_t>(i)].told, RecordAt(frame_reports, i));
  }
}

int32_t CheckReports(const zolt_burst_report* report, const zolt_burst_frame_report* frame_reports) {
  const bool report_holds = report == nullptr || report->size >= sizeof(uint32_t);
  const bool frames_hold = frame_reports == nullptr || frame_reports->size >= sizeof(uint32_t);
  return report_holds && frames_hold ? ZOLT_BURST_OK : ZOLT_BURST_BAD_ARGUMENT;
}

int32_t Denoise(const std::vector<const zolt_burst_picture*>& frames, const Settings& settings,
                BurstMemory* memory, const zolt_burst_picture& output, zolt_burst_report* report,
                zolt_burst_frame_report* frame_reports, int32_t capacity) {
  memory->ResetPeak();
  const EngineMemory current(memory);
  BurstRun run(settings.options, settings.config, memory);
  run.Run(frames.data(), static_cast<int>(frames.size()), output);
  TellBurst(run, report, frame_reports, capacity);
  return ZOLT_BURST_OK;
}

}  // namespace
}  // namespace zolt

struct zolt_burst {
  explicit zolt_burst(const zolt::Settings& chosen) : settings(chosen), memory(chosen.options.hooks) {}

  bool MergesAtOnce() const {
    return settings.options.reference == 0 && settings.options.expected_frames > 0;
  }
  void Clear() {
    run.reset();
    frames.clear();
    lost = ZOLT_BURST_OK;
  }

  zolt::Settings settings;
  zolt::BurstMemory memory;
  std::vector<zolt::KeptPicture> frames;  ///< all of them, or the reference alone when merging at once
  std::unique_ptr<zolt::BurstRun> run;    ///< when merging at once
  int32_t lost = ZOLT_BURST_OK;           ///< what a frame's merge has failed with
};

namespace {

using namespace zolt;

int32_t AddKept(zolt_burst* burst, const zolt_burst_picture& frame) {
  burst->frames.emplace_back(frame, &burst->memory);
  return ZOLT_BURST_OK;
}

/// Merges the frame; a failure in the middle of that loses the burst.
int32_t AddAtOnce(zolt_burst* burst, const zolt_burst_picture& frame) {
  if (burst->lost != ZOLT_BURST_OK) return burst->lost;
  const EngineMemory current(&burst->memory);
  burst->lost = Guarded([&]() -> int32_t {
    if (!burst->frames.empty()) {
      burst->run->Add(burst->frames.front().view(), frame);
      return ZOLT_BURST_OK;
    }
    burst->memory.ResetPeak();
    burst->run = std::make_unique<BurstRun>(burst->settings.options, burst->settings.config, &burst->memory);
    burst->run->Begin(frame);
    return AddKept(burst, frame);
  });
  return burst->lost;
}

int32_t FinishBurst(zolt_burst* burst, const zolt_burst_picture& output, zolt_burst_report* report,
                    zolt_burst_frame_report* frame_reports, int32_t capacity) {
  if (burst->lost != ZOLT_BURST_OK) return burst->lost;
  if (burst->MergesAtOnce()) {
    const EngineMemory current(&burst->memory);
    burst->run->End(burst->frames.front().view(), output);
    TellBurst(*burst->run, report, frame_reports, capacity);
    return ZOLT_BURST_OK;
  }
  std::vector<const zolt_burst_picture*> views;
  for (const KeptPicture& frame : burst->frames) views.push_back(&frame.view());
  return Denoise(views, burst->settings, &burst->memory, output, report, frame_reports, capacity);
}

}  // namespace

int32_t zolt_burst_denoise(const zolt_burst_picture* frames, int32_t count, const zolt_burst_options* options,
                           const zolt_burst_picture* output, zolt_burst_report* report,
                           zolt_burst_frame_report* frame_reports) {
  int32_t wrong = CheckFrames(frames, count);
  if (wrong == ZOLT_BURST_OK) wrong = CheckLike(output, frames->width, frames->height);
  if (wrong == ZOLT_BURST_OK) wrong = CheckReports(report, frame_reports);
  if (wrong != ZOLT_BURST_OK) return wrong;
  return Guarded([&] {
    const std::lock_guard<std::mutex> lock(Order());
    Settings settings;
    const int32_t refused = settings.Set(options);
    if (refused != ZOLT_BURST_OK) return refused;
    const int32_t too_large = CheckMemory(settings.options, *frames, 0);
    if (too_large != ZOLT_BURST_OK) return too_large;
    std::vector<const zolt_burst_picture*> views;
    for (int32_t i = 0; i < count; ++i) views.push_back(RecordAt(frames, i));
    BurstMemory memory(settings.options.hooks);
    return Denoise(views, settings, &memory, *output, report, frame_reports, count);
  });
}

uint64_t zolt_burst_memory_needed(int32_t width, int32_t height, int32_t frames, int32_t mode) {
  return MemoryNeed(width, height, frames, mode);
}

int32_t zolt_burst_measure_noise(const zolt_burst_picture* frames, int32_t count,
                                 const zolt_burst_options* options, zolt_burst_report* report) {
  int32_t wrong = CheckFrames(frames, count);
  if (wrong == ZOLT_BURST_OK && report == nullptr) wrong = ZOLT_BURST_BAD_ARGUMENT;
  if (wrong == ZOLT_BURST_OK) wrong = CheckReports(report, nullptr);
  if (wrong != ZOLT_BURST_OK) return wrong;
  return Guarded([&]() -> int32_t {
    const std::lock_guard<std::mutex> lock(Order());
    Settings settings;
    const int32_t refused = settings.Set(options);
    if (refused != ZOLT_BURST_OK) return refused;
    std::vector<const zolt_burst_picture*> views;
    for (int32_t i = 0; i < count; ++i) views.push_back(RecordAt(frames, i));
    BurstMemory memory(settings.options.hooks);
    const EngineMemory current(&memory);
    BurstRun run(settings.options, settings.config, &memory);
    run.MeasureAlone(views.data(), count);
    WriteRecord(run.report(), report);
    return ZOLT_BURST_OK;
  });
}

int32_t zolt_burst_open(zolt_burst** burst, const zolt_burst_options* options) {
  if (burst == nullptr) return ZOLT_BURST_BAD_ARGUMENT;
  *burst = nullptr;
  return Guarded([&] {
    const std::lock_guard<std::mutex> lock(Order());
    Settings settings;
    const int32_t refused = settings.Set(options);
    if (refused == ZOLT_BURST_OK) *burst = new zolt_burst(settings);
    return refused;
  });
}

int32_t zolt_burst_add(zolt_burst* burst, const zolt_burst_picture* frame) {
  if (burst == nullptr) return ZOLT_BURST_BAD_ARGUMENT;
  const zolt_burst_picture* first = burst->frames.empty() ? frame : &burst->frames.front().view();
  const int32_t wrong =
      frame == nullptr ? ZOLT_BURST_BAD_ARGUMENT : CheckLike(frame, first->width, first->height);
  if (wrong != ZOLT_BURST_OK) return wrong;
  return Guarded([&] {
    const int kept = burst->MergesAtOnce() ? 1 : static_cast<int>(burst->frames.size()) + 1;
    const int32_t too_large = CheckMemory(burst->settings.options, *frame, kept);
    if (too_large != ZOLT_BURST_OK) return too_large;
    const std::lock_guard<std::mutex> lock(Order());
    return burst->MergesAtOnce() ? AddAtOnce(burst, *frame) : AddKept(burst, *frame);
  });
}

int32_t zolt_burst_finish(zolt_burst* burst, const zolt_burst_picture* output, zolt_burst_report* report,
                          zolt_burst_frame_report* frame_reports, int32_t capacity) {
  if (burst == nullptr || capacity < 0) return ZOLT_BURST_BAD_ARGUMENT;
  if (burst->frames.empty()) {
    const int32_t lost = burst->lost;
    zolt_burst_reset(burst);
    return lost != ZOLT_BURST_OK ? lost : ZOLT_BURST_NO_FRAMES;
  }
  const zolt_burst_picture& first = burst->frames.front().view();
  int32_t wrong = CheckLike(output, first.width, first.height);
  if (wrong == ZOLT_BURST_OK) wrong = CheckReports(report, frame_reports);
  if (wrong != ZOLT_BURST_OK) return wrong;
  return Guarded([&] {
    const std::lock_guard<std::mutex> lock(Order());
    const int32_t result =
        Guarded([&] { return FinishBurst(burst, *output, report, frame_reports, capacity); });
    burst->Clear();
    return result;
  });
}

void zolt_burst_reset(zolt_burst* burst) {
  if (burst == nullptr) return;
  const std::lock_guard<std::mutex> lock(Order());
  burst->Clear();
}

void zolt_burst_close(zolt_burst* burst) {
  if (burst == nullptr) return;
  const std::lock_guard<std::mutex> lock(Order());
  delete burst;
}
