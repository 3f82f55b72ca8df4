#include "zolt_burst.h"

#include <memory>
#include <mutex>
#include <vector>

#include "burst/burst_run.h"
#include "burst/layer_call.h"
#include "burst/memory_need.h"
#include "burst/picture/kept_picture.h"

namespace zolt {
namespace {

int32_t CheckMemory(const zolt_burst_options& options, const zolt_burst_picture& frame, int kept_frames) {
  if (options.memory_limit == 0) return ZOLT_BURST_OK;
  const uint64_t need = MemoryNeed(frame.width, frame.height, kept_frames, ZOLT_BURST_FAST);
  return need <= options.memory_limit ? ZOLT_BURST_OK : ZOLT_BURST_MEMORY_LIMIT;
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

int32_t Denoise(const std::vector<const zolt_burst_picture*>& frames, const Settings& settings,
                BurstMemory* memory, const zolt_burst_picture& output, zolt_burst_report* report,
                zolt_burst_frame_report* frame_reports, int32_t capacity) {
  memory->ResetPeak();
  const EngineMemory current(memory);
  BurstRun run(settings.options, settings.tunings, memory);
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
    burst->run = std::make_unique<BurstRun>(burst->settings.options, burst->settings.tunings, &burst->memory);
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
    BurstRun run(settings.options, settings.tunings, &memory);
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
