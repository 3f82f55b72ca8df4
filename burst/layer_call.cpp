#include "burst/layer_call.h"

#include "burst/picture/picture.h"
#include "burst/tuning.h"

namespace zolt {
namespace {

int32_t CheckOptions(const zolt_burst_options& o) {
  const bool mode = o.mode == ZOLT_BURST_FAST || o.mode == ZOLT_BURST_FINE;
  const bool fusion = o.fusion == ZOLT_BURST_FUSION_AUTO || o.fusion == ZOLT_BURST_FUSION_OFF;
  const bool expected = o.expected_frames == 0 || (o.expected_frames >= 2 && o.expected_frames <= 10);
  const bool hooks = (o.hooks.alloc == nullptr) == (o.hooks.free == nullptr);
  return mode && fusion && expected && hooks && o.iso >= 0 && o.reference >= -1 ? ZOLT_BURST_OK
                                                                                : ZOLT_BURST_BAD_ARGUMENT;
}

}  // namespace

std::mutex& Order() {
  static std::mutex order;
  return order;
}

int32_t Settings::Set(const zolt_burst_options* given) {
  zolt_burst_options_init(&options);
  if (given != nullptr) {
    if (given->size < sizeof(uint32_t)) return ZOLT_BURST_BAD_ARGUMENT;
    ReadRecord(given, &options);
  }
  const int32_t wrong = CheckOptions(options);
  if (wrong != ZOLT_BURST_OK) return wrong;
  const int32_t result = LoadTunings(options.tuning_folder, &tunings);
  options.tuning_folder = nullptr;  // the caller's
  return result;
}

int32_t CheckLike(const zolt_burst_picture* picture, int32_t width, int32_t height) {
  const int32_t wrong = CheckPicture(picture);
  if (wrong != ZOLT_BURST_OK) return wrong;
  return picture->width == width && picture->height == height ? ZOLT_BURST_OK : ZOLT_BURST_UNLIKE_SIZES;
}

int32_t CheckReports(const zolt_burst_report* report, const zolt_burst_frame_report* frame_reports) {
  const bool report_holds = report == nullptr || report->size >= sizeof(uint32_t);
  const bool frames_hold = frame_reports == nullptr || frame_reports->size >= sizeof(uint32_t);
  return report_holds && frames_hold ? ZOLT_BURST_OK : ZOLT_BURST_BAD_ARGUMENT;
}

void TellBurst(const BurstRun& run, zolt_burst_report* report, zolt_burst_frame_report* frame_reports,
               int32_t capacity) {
  if (report != nullptr) WriteRecord(run.report(), report);
  const auto count = std::min(capacity, static_cast<int32_t>(run.frames().size()));
  for (int32_t i = 0; frame_reports != nullptr && i < count; ++i) {
    WriteRecord(run.frames()[static_cast<size_t>(i)].told, RecordAt(frame_reports, i));
  }
}

}  // namespace zolt
