// zolt_burst._native: the library's functions on plane views. What users call, with its checks and its
// documentation, is Python and lies in zolt_burst/.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "burst_handle.h"
#include "compare/quality.h"
#include "simulated_burst.h"

namespace py = pybind11;

namespace zolt {
namespace {

py::tuple QualityOf(const PictureViews& a, const PictureViews& b) {
  const zolt_burst_picture first = PictureOf(a, false);
  const zolt_burst_picture second = PictureOf(b, false);
  if (first.width != second.width || first.height != second.height) {
    throw py::value_error("the pictures differ in size");
  }
  Quality q;
  {
    const py::gil_scoped_release released;
    q = CompareQuality(YuvCopy(first), YuvCopy(second));
  }
  return py::make_tuple(q.psnr_luma, q.psnr_chroma, q.ssim_luma, q.ssim_chroma);
}

void DefineRecords(py::module_& m) {
  py::class_<PictureViews>(m, "Picture")
      .def(py::init([](int layout, std::vector<py::array> planes) {
             return PictureViews{layout, std::move(planes)};
           }),
           py::arg("layout"), py::arg("planes"));
  py::class_<CallOptions>(m, "Options")
      .def(py::init<>())
      .def_readwrite("mode", &CallOptions::mode)
      .def_readwrite("iso", &CallOptions::iso)
      .def_readwrite("reference", &CallOptions::reference)
      .def_readwrite("fusion", &CallOptions::fusion)
      .def_readwrite("keep_all", &CallOptions::keep_all)
      .def_readwrite("expected_frames", &CallOptions::expected_frames)
      .def_readwrite("memory_limit", &CallOptions::memory_limit)
      .def_property(
          "tuning", [](const CallOptions& o) { return o.tuning; },
          [](CallOptions& o, const std::optional<py::bytes>& path) {
            o.tuning = path ? std::optional<std::string>(*path) : std::nullopt;
          })
      .def_readwrite("progress", &CallOptions::progress);
  py::class_<CameraSettings>(m, "CameraSettings")
      .def(py::init<>())
      .def_readwrite("frames", &CameraSettings::frames)
      .def_readwrite("iso", &CameraSettings::iso)
      .def_readwrite("motion", &CameraSettings::motion)
      .def_readwrite("ghost", &CameraSettings::ghost)
      .def_readwrite("white", &CameraSettings::white)
      .def_readwrite("last_ev", &CameraSettings::last_ev)
      .def_readwrite("max_width", &CameraSettings::max_width)
      .def_readwrite("crop_width", &CameraSettings::crop_width)
      .def_readwrite("crop_height", &CameraSettings::crop_height)
      .def_readwrite("seed", &CameraSettings::seed);
}

}  // namespace
}  // namespace zolt

PYBIND11_MODULE(_native, m) {
  using namespace zolt;
  m.attr("GREY") = static_cast<int>(ZOLT_BURST_GREY);
  m.attr("YUV420") = static_cast<int>(ZOLT_BURST_YUV420);
  m.attr("RGB") = static_cast<int>(ZOLT_BURST_RGB);
  DefineRecords(m);
  m.def("version", &zolt_burst_version);
  m.def("error_text", &zolt_burst_error_text, py::arg("code"));
  m.def("memory_needed", &zolt_burst_memory_needed, py::arg("width"), py::arg("height"), py::arg("frames"),
        py::arg("mode"));
  m.def("denoise", &DenoiseAtOnce, py::arg("frames"), py::arg("output"), py::arg("options"));
  m.def("measure_noise", &MeasureNoise, py::arg("frames"), py::arg("options"));
  m.def("quality", &QualityOf, py::arg("a"), py::arg("b"));
  m.def("simulate", &SimulatedBurst, py::arg("photo"), py::arg("settings"));
  py::class_<BurstHandle>(m, "Handle")
      .def(py::init<const CallOptions&>(), py::arg("options"))
      .def("open", &BurstHandle::Open)
      .def("add", &BurstHandle::Add, py::arg("frame"))
      .def("finish", &BurstHandle::Finish, py::arg("output"), py::arg("capacity"))
      .def("reset", &BurstHandle::Reset)
      .def("close", &BurstHandle::Close);
}
