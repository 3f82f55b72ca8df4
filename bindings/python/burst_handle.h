#pragma once

#include <pybind11/pybind11.h>

#include <mutex>

#include "library_call.h"
#include "picture_views.h"

namespace zolt {

/// The library's code, the report and one of each frame as dictionaries of the C records' fields.
pybind11::tuple DenoiseAtOnce(const std::vector<PictureViews>& frames, const PictureViews& output,
                              const CallOptions& options);
pybind11::tuple MeasureNoise(const std::vector<PictureViews>& frames, const CallOptions& options);

/// A zolt_burst that one thread uses at a time: a second one gets RuntimeError instead of a broken burst.
class BurstHandle {
 public:
  explicit BurstHandle(const CallOptions& options) : call_(options) {}
  ~BurstHandle() { zolt_burst_close(burst_); }
  BurstHandle(const BurstHandle&) = delete;
  BurstHandle& operator=(const BurstHandle&) = delete;

  int32_t Open();
  int32_t Add(const PictureViews& frame);
  pybind11::tuple Finish(const PictureViews& output, int capacity);
  void Reset();
  void Close();

 private:
  std::unique_lock<std::mutex> Owned();

  LibraryCall call_;
  zolt_burst* burst_ = nullptr;
  std::mutex used_;
};

}  // namespace zolt
