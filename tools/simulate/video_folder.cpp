#include "simulate/video_folder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

#include "common/errors.h"
#include "common/file_io.h"
#include "common/parallel.h"
#include "common/progress.h"

namespace zolt {
namespace {

/// Frames one after the other, uncompressed, as FFmpeg and most video tools read them.
class Y4mFile {
 public:
  Y4mFile(const std::string& path, int width, int height) : path_(path), file_(path, std::ios::binary) {
    file_ << "YUV4MPEG2 W" << width << " H" << height << " F30:1 Ip A1:1 C420jpeg XCOLORRANGE=FULL\n";
    Check();
  }
  void Write(const YuvPicture& frame) {
    file_ << "FRAME\n";
    for (const auto* plane : {&frame.y, &frame.u, &frame.v})
      file_.write(reinterpret_cast<const char*>(plane->data()), static_cast<std::streamsize>(plane->size()));
    Check();
  }
  void Close() {
    file_.close();
    Check();
  }

 private:
  void Check() const {
    if (!file_) FailFile(path_ + ": can't be written: " + std::strerror(errno));
  }
  std::string path_;
  std::ofstream file_;
};

}  // namespace

void WriteVideoFolder(const std::string& folder, const Camera& camera, const CameraSettings& settings) {
  Y4mFile video(folder + "/video.y4m", camera.width(), camera.height());
  Y4mFile truth(folder + "/truth.y4m", camera.width(), camera.height());
  Progress progress("simulate: frame", settings.frames);
  const int at_once = UsableProcessors();
  for (int first = 0; first < settings.frames; first += at_once) {
    const int count = std::min(at_once, settings.frames - first);
    std::vector<YuvPicture> frames(static_cast<size_t>(count)), clean(frames.size());
    ParallelFor(count, [&](int i) {
      frames[static_cast<size_t>(i)] = camera.Frame(first + i);
      clean[static_cast<size_t>(i)] = camera.CleanFrame(first + i);
      progress.Step();
    });
    for (const YuvPicture& frame : frames) video.Write(frame);
    for (const YuvPicture& frame : clean) truth.Write(frame);
  }
  video.Close();
  truth.Close();
  nlohmann::ordered_json told = {{"width", camera.width()}, {"height", camera.height()},
                                 {"iso", settings.iso},     {"seed", settings.seed},
                                 {"white", settings.white}, {"ghost", settings.ghost}};
  told["homographies"] = camera.homographies();
  WriteWhole(folder + "/video.json", told.dump(1) + "\n");
}

}  // namespace zolt
