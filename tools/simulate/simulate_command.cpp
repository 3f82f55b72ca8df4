#include "simulate/simulate_command.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "common/errors.h"
#include "common/parallel.h"
#include "common/progress.h"
#include "common/size_option.h"
#include "media/media_read.h"
#include "media/media_write.h"
#include "simulate/burst_folder.h"
#include "simulate/camera.h"
#include "simulate/scene.h"
#include "simulate/video_folder.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst simulate -o burst                                the built-in scene, 6 frames at ISO 1600
  zolt-burst simulate photo.jpg -o burst --iso 3200 --ghost   a photo, with something that moves
  zolt-burst simulate photo.jpg -o burst --motion 0 --white   a tripod and white noise
  zolt-burst simulate photo.jpg -o burst --last-ev 2          the last frame two stops brighter
  zolt-burst simulate photo.jpg -o film --video --crop 1280x720   two seconds of video

FOLDER gets frame-0.png and so on, truth.png (frame 0 without noise), burst.json and, with --last-ev,
truth-last.png (the same at the last frame's exposure), with --mean also mean.png; with --video it gets video.y4m, truth.y4m (the same without noise) and video.json
(each frame's motion). The same options give the same pictures on every machine.)";

struct Options {
  std::string photo;
  std::string folder;
  std::string crop;
  CameraSettings camera;
  bool mean = false;
  bool json = false;
};

void MakeFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) FailFile(folder + ": can't be made: " + error.message());
}

// burst.json is written last, so a folder that has it is complete. An old one goes first, with the pictures
// that it told of.
void ClearOldBurst(const std::string& folder) {
  std::error_code ignored;
  if (!std::filesystem::remove(folder + "/burst.json", ignored)) return;
  std::filesystem::remove(folder + "/truth-last.png", ignored);
  std::filesystem::remove(folder + "/mean.png", ignored);
  for (int i = 0; i < 10; ++i)
    std::filesystem::remove(folder + "/frame-" + std::to_string(i) + ".png", ignored);
}

void AddTo(std::vector<int>* sums, const std::vector<uint8_t>& plane) {
  sums->resize(plane.size());
  for (size_t i = 0; i < plane.size(); ++i) (*sums)[i] += plane[i];
}

// What averaging alone can reach: the frames as a tripod would take them, so that all lie upon each other.
void WriteMean(const RgbPicture& photo, const Options& options) {
  CameraSettings settings = options.camera;
  settings.motion = 0;
  const Camera camera(photo, settings);
  std::vector<YuvPicture> frames(static_cast<size_t>(settings.frames));
  ParallelFor(settings.frames, [&](int i) { frames[i] = camera.Frame(i); });
  YuvPicture mean = frames[0];
  for (auto plane : {&YuvPicture::y, &YuvPicture::u, &YuvPicture::v}) {
    std::vector<int> sums;
    for (const YuvPicture& frame : frames) AddTo(&sums, frame.*plane);
    const int n = settings.frames;
    for (size_t i = 0; i < sums.size(); ++i) (mean.*plane)[i] = static_cast<uint8_t>((sums[i] + n / 2) / n);
  }
  WritePicture(options.folder + "/mean.png", mean);
}

BurstInfo Shoot(const Camera& camera, const Options& options) {
  const CameraSettings& settings = options.camera;
  const int last = settings.frames - 1;
  BurstInfo info{camera.width(),       camera.height(),
                 settings.iso,         settings.seed,
                 settings.motion,      settings.last_ev,
                 settings.ghost,       settings.white,
                 options.photo,        {},
                 "truth.png",          "",
                 camera.homographies()};
  for (int i = 0; i <= last; ++i) info.frames.push_back("frame-" + std::to_string(i) + ".png");
  if (settings.last_ev != 0) info.truth_last = "truth-last.png";
  const int pictures = settings.frames + 1 + (settings.last_ev != 0 ? 1 : 0);
  Progress progress("simulate: picture", pictures);
  ParallelFor(pictures, [&](int i) {
    if (i <= last) {
      WritePicture(options.folder + "/" + info.frames[i], camera.Frame(i));
    } else {
      const bool plain = i == last + 1;
      WritePicture(options.folder + "/" + (plain ? info.truth : info.truth_last),
                   camera.Truth(plain ? 0 : last));
    }
    progress.Step();
  });
  return info;
}

void TellVideo(const Options& options, const Camera& camera, std::ostream& out) {
  const int frames = options.camera.frames;
  if (options.json) {
    const nlohmann::ordered_json j = {{"folder", options.folder},  {"width", camera.width()},
                                      {"height", camera.height()}, {"frames", frames},
                                      {"video", "video.y4m"},      {"truth", "truth.y4m"},
                                      {"iso", options.camera.iso}, {"seed", options.camera.seed}};
    out << j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
    return;
  }
  out << options.folder << ": video of " << frames << " frames of " << camera.width() << " x "
      << camera.height() << " at ISO " << options.camera.iso << "\n";
}

void Run(Options options, std::ostream& out) {
  if (!std::isfinite(options.camera.motion) || !std::isfinite(options.camera.last_ev)) {
    FailUsage("--motion and --last-ev take numbers");
  }
  if (options.mean && (options.camera.ghost || options.camera.last_ev != 0)) {
    FailUsage("--mean is of frames that are alike: leave out --ghost and --last-ev");
  }
  constexpr int kMostOfBurst = 10, kVideoFrames = 60;
  if (options.camera.frames == 0)
    options.camera.frames = options.camera.video ? kVideoFrames : CameraSettings().frames;
  if (!options.camera.video && options.camera.frames > kMostOfBurst)
    FailUsage("--frames: a burst has 2 to 10");
  if (options.camera.video && (options.mean || options.camera.last_ev != 0)) {
    FailUsage("--video goes without --mean and --last-ev");
  }
  if (!options.crop.empty()) {
    const auto [width, height] = ParseSize(options.crop, "--crop");
    options.camera.crop_width = width;
    options.camera.crop_height = height;
  }
  const RgbPicture photo = options.photo.empty() ? RenderScene() : ReadRgbPicture(options.photo);
  const Camera camera(photo, options.camera);
  MakeFolder(options.folder);
  ClearOldBurst(options.folder);
  if (options.camera.video) {
    WriteVideoFolder(options.folder, camera, options.camera);
    TellVideo(options, camera, out);
    return;
  }
  const BurstInfo info = Shoot(camera, options);
  if (options.mean) WriteMean(photo, options);
  WriteBurstInfo(options.folder, info);
  if (options.json) {
    const nlohmann::ordered_json j = {
        {"folder", options.folder}, {"width", info.width}, {"height", info.height}, {"frames", info.frames},
        {"truth", info.truth},      {"iso", info.iso},     {"seed", info.seed}};
    out << j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
  } else {
    out << options.folder << ": " << info.frames.size() << " frames of " << info.width << " x " << info.height
        << " at ISO " << info.iso << "\n";
  }
}

}  // namespace

void AddSimulateCommand(CLI::App& app, std::ostream& out) {
  auto options = std::make_shared<Options>();
  CameraSettings& camera = options->camera;
  CLI::App* command = app.add_subcommand("simulate", "Take a hand-held burst with known truth of a photo");
  command->footer(kExamples);
  command->add_option("PHOTO", options->photo, "any image; without it the built-in scene is taken");
  command->add_option("-o,--output", options->folder, "folder for the burst; made if it isn't there")
      ->required();
  camera.frames = 0;
  command->add_option("--frames", camera.frames, "frames of the burst, 2 to 10, or of the video, to 300")
      ->check(CLI::Range(2, 300))
      ->default_str("6; video 60");
  command->add_flag("--video", camera.video,
                    "film it: the hand moves on smoothly, 30 frames a second, as Y4M");
  command->add_option("--iso", camera.iso, "sensitivity; sets the noise")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str();
  command->add_option("--motion", camera.motion, "hand motion: 1 up to 1 degree of rotation, 0 a tripod")
      ->check(CLI::Range(0.0, 10.0))
      ->capture_default_str();
  command->add_flag("--ghost", camera.ghost, "roll a ball through the scene");
  command->add_flag("--white", camera.white, "white noise, without the correlation of a phone's processing");
  command->add_option("--last-ev", camera.last_ev, "exposure of the last frame beside the others, in stops")
      ->check(CLI::Range(-4.0, 4.0))
      ->capture_default_str();
  command->add_option("--seed", camera.seed, "another number, another hand and other noise")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  command
      ->add_option("--max-width", camera.max_width, "reduce the photo by a whole number until a frame fits")
      ->check(CLI::Range(64, 100000));
  command->add_option("--crop", options->crop, "take only the middle, frames of WxH");
  command->add_flag("--mean", options->mean,
                    "also write mean.png: the mean of the frames as a tripod would take them");
  command->add_flag("--json", options->json, "tell the result as JSON");
  command->callback([options, &out] { Run(*options, out); });
}

}  // namespace zolt
