#include "denoise/denoise_run.h"

#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>

#include "denoise/burst_frames.h"
#include "session/debug_observer.h"
#include "zolt_mfdenoise.h"

namespace zolt {
namespace {

struct EndSession {
  void operator()(MfSession* session) const { zolt_mfUnInitialize(session); }
};
using Session = std::unique_ptr<MfSession, EndSession>;

Session OpenSession(const std::string& folder) {
  const std::string prefix = folder.empty() || folder.back() == '/' ? folder : folder + "/";
  const std::string file = prefix + "multiframe.xml";
  // The library would look for a longer name in the current folder, or refuse it without saying why.
  if (file.size() > 255)
    FailUsage(folder + ": the path of the tuning file is too long, 255 characters is the most");
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(file, ignored))
    FailFile(file + ": no such tuning file; see --config");
  MfSession* session = nullptr;
  const int32_t result = zolt_mfInitialize(&session, prefix.c_str(), nullptr);
  if (result != ZOLT_MF_OK) throw LibraryRefused(result, file);
  return Session(session);
}

YuvPicture GreyPicture(const uint8_t* plane, int width, int height) {
  YuvPicture out(width, height);
  std::copy(plane, plane + out.y.size(), out.y.begin());
  std::fill(out.u.begin(), out.u.end(), uint8_t{128});
  std::fill(out.v.begin(), out.v.end(), uint8_t{128});
  return out;
}

YuvPicture PictureOf(const YuvImage& image) {
  YuvPicture out(image.width, image.height);
  for (int y = 0; y < image.height; ++y) {
    const uint8_t* row = image.y + ptrdiff_t{y} * image.pitch;
    std::copy(row, row + image.width, &out.y[size_t(y) * out.width]);
  }
  for (int y = 0; y < out.ChromaHeight(); ++y) {
    const ptrdiff_t at = ptrdiff_t{y} * (image.pitch / 2);
    std::copy(image.u + at, image.u + at + out.ChromaWidth(), &out.u[size_t(y) * out.ChromaWidth()]);
    std::copy(image.v + at, image.v + at + out.ChromaWidth(), &out.v[size_t(y) * out.ChromaWidth()]);
  }
  return out;
}

// Listens to the pipeline while it lives.
class Listener {
 public:
  Listener(int width, int height, bool with_maps) : width_(width), height_(height), with_maps_(with_maps) {
    SetFrameObserver(&Hear, this);
  }
  ~Listener() { SetFrameObserver(nullptr, nullptr); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void Expect(FrameReport* report) {
    report_ = report;
    maps_ = FrameMaps();
    spent_ = {};
  }

  /// What listening took of the call's time.
  std::chrono::duration<double, std::milli> spent() const { return spent_; }

  const FrameMaps& maps() const { return maps_; }
  void RethrowFailure() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  // Exceptions must not cross the library.
  static void Hear(void* user, const FrameObservation& seen) {
    auto* self = static_cast<Listener*>(user);
    const auto begin = std::chrono::steady_clock::now();
    try {
      self->Note(seen);
    } catch (...) {
      self->failure_ = std::current_exception();
    }
    self->spent_ += std::chrono::steady_clock::now() - begin;
  }

  void Note(const FrameObservation& seen) {
    if (seen.moment == FrameObservation::Moment::kDone) {
      report_->reached_pipeline = true;
      report_->registration_result = seen.registration_result;
      report_->ghost_count = seen.ghost_count;
      report_->registration_ms = static_cast<double>(seen.registration_us) / 1000;
      report_->ghost_ms = static_cast<double>(seen.ghost_us) / 1000;
      report_->temporal_ms = static_cast<double>(seen.temporal_us) / 1000;
      report_->finish_ms = static_cast<double>(seen.finish_us) / 1000;
    } else if (with_maps_) {
      const int w = seen.aligned.width;
      const int h = seen.aligned.height;
      maps_.aligned = Cropped(PictureOf(seen.aligned), width_, height_);
      if (seen.ghost_map) maps_.ghost = Cropped(GreyPicture(seen.ghost_map, w, h), width_, height_);
      if (seen.weight_map) maps_.weight = Cropped(GreyPicture(seen.weight_map, w, h), width_, height_);
    }
  }

  int width_;
  int height_;
  bool with_maps_;
  FrameReport* report_ = nullptr;
  FrameMaps maps_;
  std::chrono::duration<double, std::milli> spent_{};
  std::exception_ptr failure_;
};

int32_t TagOf(int index, int total) {
  if (index == 0) return ZOLT_MF_TAG_FIRST;
  return index == total - 1 ? ZOLT_MF_TAG_LAST : ZOLT_MF_TAG_MIDDLE;
}

std::string FrameName(int index, int total) {
  return "frame " + std::to_string(index + 1) + " of " + std::to_string(total);
}

}  // namespace

LibraryRefused::LibraryRefused(int32_t result, const std::string& where)
    : ToolError(kExitRefused, where + ": the library refused with result " + std::to_string(result) + ": " +
                                  MeaningOfResult(result)),
      result_(result) {}

std::string MeaningOfResult(int32_t result) {
  switch (result) {
    case ZOLT_MF_OK:
      return "done";
    case ZOLT_MF_BAD_SIZE:
      return "a frame size that is not supported";
    case ZOLT_MF_OFF:
      return "the tuning file switches noise reduction off for this ISO (try another --iso or --config)";
    case ZOLT_MF_LOAD_FAILURE:
      return "the tuning file can't be loaded, or threads can't be started";
    case ZOLT_MF_BAD_ARGUMENT:
      return "an argument is out of its range";
    case ZOLT_MF_NO_MEMORY:
      return "not enough memory";
    default:
      return "a stage failed";
  }
}

DenoiseResult DenoiseBurst(const std::vector<YuvPicture>& frames, const DenoiseSettings& settings,
                           const std::function<void(int, const FrameMaps&)>& on_maps) {
  const Session session = OpenSession(settings.config_folder);
  const int total = static_cast<int>(frames.size());
  const int width = frames.front().width;
  const int height = frames.front().height;
  DenoiseResult result;
  result.frames.resize(frames.size());
  std::vector<uint8_t> image;
  Listener listener(width, height, on_maps != nullptr);
  for (int i = 0; i < total; ++i) {
    const YuvPicture padded = PaddedForLibrary(frames[i]);
    const std::vector<uint8_t> source = RawBytes(padded, settings.layout);
    if (i == 0) image.resize(source.size());
    const MfFrameExtra extra = {0, settings.fusion == Fusion::kOn ? 1 : 0, settings.halved ? i % 2 : 0, i};
    const bool plain = settings.fusion == Fusion::kConfig && !settings.halved;
    listener.Expect(&result.frames[i]);
    const auto begin = std::chrono::steady_clock::now();
    const int32_t code = zolt_mfNoiseReduction(
        session.get(), source.data(), image.data(), padded.height, padded.width, TagOf(i, total), total,
        static_cast<uint32_t>(settings.layout), settings.iso, plain ? nullptr : &extra);
    const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - begin;
    result.frames[i].ms = (spent - listener.spent()).count();
    listener.RethrowFailure();
    if (on_maps && listener.maps().aligned.width > 0) on_maps(i, listener.maps());
    if (code != ZOLT_MF_OK) throw LibraryRefused(code, FrameName(i, total));
    if (i == total - 1) {
      result.picture =
          Cropped(PictureFromRaw(image.data(), padded.width, padded.height, settings.layout), width, height);
    }
  }
  return result;
}

std::string ShippedConfigFolder() {
  // Beside the program first: a package may be installed anywhere.
  std::error_code none;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", none);
  const std::string beside = (program.parent_path().parent_path() / "share/zolt_mfdenoise").string();
  for (const std::string& folder :
       {beside, std::string(ZOLT_INSTALLED_CONFIG), std::string(ZOLT_SOURCE_CONFIG)}) {
    std::error_code ignored;
    if (std::filesystem::exists(folder + "/multiframe.xml", ignored)) return folder;
  }
  FailFile(std::string("no tuning file in ") + ZOLT_INSTALLED_CONFIG + "; name its folder with --config");
}

}  // namespace zolt
