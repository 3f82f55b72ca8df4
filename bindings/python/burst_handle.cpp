#include "burst_handle.h"

#include <stdexcept>

namespace zolt {
namespace {

namespace py = pybind11;

py::dict Told(const zolt_burst_report& report) {
  py::dict out;
  out["mode"] = report.mode == ZOLT_BURST_FINE ? "fine" : "fast";
  out["fell_back"] = report.fell_back != 0;
  out["merged"] = report.merged;
  out["reference"] = report.reference;
  out["noise_measured"] = report.noise_measured != 0;
  out["luma_sigma"] = report.luma_sigma;
  out["chroma_sigma"] = report.chroma_sigma;
  out["blotchiness"] = report.blotchiness;
  out["texture"] = report.texture;
  out["iso"] = report.iso;
  out["band"] = report.band;
  out["fused"] = report.fused != 0;
  out["peak_memory"] = report.peak_memory;
  out["milliseconds"] = report.milliseconds;
  return out;
}

py::dict Told(const zolt_burst_frame_report& report) {
  py::dict out;
  out["use"] = zolt_burst_use_text(report.use);
  out["sharpness"] = report.sharpness;
  out["shift_x"] = report.shift_x;
  out["shift_y"] = report.shift_y;
  out["moved_share"] = report.moved_share;
  out["gain"] = report.gain;
  out["milliseconds"] = report.milliseconds;
  return out;
}

// The records of one call, and what Python gets of them.
struct Reports {
  explicit Reports(size_t count) : frames(count) {
    zolt_burst_report_init(&report);
    for (zolt_burst_frame_report& frame : frames) zolt_burst_frame_report_init(&frame);
  }
  py::tuple ToPython(int32_t result) const {
    py::list told;
    for (const zolt_burst_frame_report& frame : frames) told.append(Told(frame));
    return py::make_tuple(result, Told(report), told);
  }

  zolt_burst_report report;
  std::vector<zolt_burst_frame_report> frames;
};

}  // namespace

py::tuple DenoiseAtOnce(const std::vector<PictureViews>& frames, const PictureViews& output,
                        const CallOptions& options) {
  LibraryCall call(options);
  const zolt_burst_options library_options = call.Options();
  const std::vector<zolt_burst_picture> pictures = PicturesOf(frames);
  const zolt_burst_picture out = PictureOf(output, true);
  Reports reports(frames.size());
  const int32_t result = call.Run([&] {
    return zolt_burst_denoise(pictures.data(), static_cast<int32_t>(pictures.size()), &library_options, &out,
                              &reports.report, reports.frames.data());
  });
  return reports.ToPython(result);
}

py::tuple MeasureNoise(const std::vector<PictureViews>& frames, const CallOptions& options) {
  LibraryCall call(options);
  const zolt_burst_options library_options = call.Options();
  const std::vector<zolt_burst_picture> pictures = PicturesOf(frames);
  Reports reports(0);
  const int32_t result = call.Run([&] {
    return zolt_burst_measure_noise(pictures.data(), static_cast<int32_t>(pictures.size()), &library_options,
                                    &reports.report);
  });
  return reports.ToPython(result);
}

std::unique_lock<std::mutex> BurstHandle::Owned() {
  std::unique_lock<std::mutex> lock(used_, std::try_to_lock);
  if (!lock) throw std::runtime_error("another thread is using this Burst: give each thread its own");
  return lock;
}

int32_t BurstHandle::Open() {
  const auto lock = Owned();
  const zolt_burst_options options = call_.Options();
  return call_.Run([&] { return zolt_burst_open(&burst_, &options); });
}

int32_t BurstHandle::Add(const PictureViews& frame) {
  const auto lock = Owned();
  const zolt_burst_picture picture = PictureOf(frame, false);
  return call_.Run([&] { return zolt_burst_add(burst_, &picture); });
}

py::tuple BurstHandle::Finish(const PictureViews& output, int capacity) {
  const auto lock = Owned();
  const zolt_burst_picture out = PictureOf(output, true);
  Reports reports(static_cast<size_t>(capacity));
  const int32_t result = call_.Run(
      [&] { return zolt_burst_finish(burst_, &out, &reports.report, reports.frames.data(), capacity); });
  return reports.ToPython(result);
}

void BurstHandle::Reset() {
  const auto lock = Owned();
  call_.Run([&] { return zolt_burst_reset(burst_), ZOLT_BURST_OK; });
}

void BurstHandle::Close() {
  const auto lock = Owned();
  call_.Run([&] { return zolt_burst_close(burst_), ZOLT_BURST_OK; });
  burst_ = nullptr;
}

}  // namespace zolt
