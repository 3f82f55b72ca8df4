#include "simulated_burst.h"

#include <algorithm>
#include <memory>

#include "common/errors.h"
#include "common/parallel.h"
#include "media/colour.h"
#include "simulate/scene.h"

namespace zolt {
namespace {

namespace py = pybind11;

std::unique_ptr<Camera> CameraOf(const zolt_burst_picture* photo, const CameraSettings& settings) {
  return std::make_unique<Camera>(photo ? RgbCopy(*photo) : RenderScene(), settings);
}

}  // namespace

py::tuple SimulatedBurst(const std::optional<PictureViews>& photo, const CameraSettings& settings) {
  std::optional<zolt_burst_picture> view;
  if (photo) view = PictureOf(*photo, false);
  const int count = settings.frames;
  std::unique_ptr<Camera> camera;
  std::vector<RgbPicture> pictures(static_cast<size_t>(count) + 2);
  try {
    const py::gil_scoped_release released;
    camera = CameraOf(view ? &*view : nullptr, settings);
    ParallelFor(count + 2, [&](int i) {
      if (i == count + 1 && settings.last_ev == 0) return;
      pictures[i] = RgbFromYuv(i < count ? camera->Frame(i) : camera->Truth(i == count ? 0 : count - 1));
    });
  } catch (const ToolError& e) {
    throw py::value_error(e.what());
  }
  py::array_t<uint8_t> frames({count, camera->height(), camera->width(), 3});
  py::array_t<double> motion({count, 3, 3});
  for (int i = 0; i < count; ++i) {
    std::copy(pictures[i].rgb.begin(), pictures[i].rgb.end(), frames.mutable_data(i));
    std::copy(camera->homographies()[i].begin(), camera->homographies()[i].end(), motion.mutable_data(i));
  }
  const RgbPicture& truth = pictures[count];
  const RgbPicture& truth_last = settings.last_ev == 0 ? truth : pictures[count + 1];
  return py::make_tuple(frames, RgbArray(truth), RgbArray(truth_last), motion);
}

}  // namespace zolt
