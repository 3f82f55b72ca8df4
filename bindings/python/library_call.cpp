#include "library_call.h"

namespace zolt {
namespace {

namespace py = pybind11;

thread_local bool inside_progress = false;

struct InsideProgress {
  InsideProgress() { inside_progress = true; }
  ~InsideProgress() { inside_progress = false; }
  InsideProgress(const InsideProgress&) = delete;
  InsideProgress& operator=(const InsideProgress&) = delete;
};

}  // namespace

zolt_burst_options LibraryCall::Options() {
  zolt_burst_options out;
  zolt_burst_options_init(&out);
  out.mode = options_.mode;
  out.iso = options_.iso;
  out.reference = options_.reference;
  out.fusion = options_.fusion;
  out.keep_all = options_.keep_all ? 1 : 0;
  out.expected_frames = options_.expected_frames;
  out.memory_limit = options_.memory_limit;
  out.tuning_folder = options_.tuning ? options_.tuning->c_str() : nullptr;
  out.progress = &Step;
  out.progress_user = this;
  return out;
}

void LibraryCall::RefuseInsideProgress() {
  if (inside_progress) throw std::runtime_error("a progress function must not call zolt_burst");
}

int LibraryCall::Step(void* user, double done) {
  auto* self = static_cast<LibraryCall*>(user);
  const py::gil_scoped_acquire held;
  const InsideProgress inside;
  if (self->failure_) return 1;
  try {
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    if (!self->options_.progress.is_none()) self->options_.progress(done);
  } catch (const py::error_already_set& e) {
    self->failure_.emplace(e);
  }
  return self->failure_ ? 1 : 0;
}

}  // namespace zolt
