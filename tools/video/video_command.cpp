#include "video/video_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "common/errors.h"
#include "denoise/denoise_options.h"
#include "video/video_run.h"
#include "zolt_burst.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst video in.mp4 -o out.mp4
  zolt-burst video in.mov -o out.mkv --window 10 --crf 14 --compare side.mp4
  zolt-burst video in.mp4 -o part.webm --start 12.5 --duration 4
  ffmpeg -i in.mp4 -f yuv4mpegpipe - | zolt-burst video - -o - | ffmpeg -i - out.mp4

Each frame is merged with the frames around it, itself the reference; windows end at cuts, and what does not align or
mostly moves is left out by itself. Sound, subtitles, chapters, tags, rotation, colour tags and time stamps go over as
they are. OUT's extension tells its container: .mp4, .mov, .mkv, .webm, .avi, .y4m; - is Y4M. After Ctrl-C, on damaged
input and on a full disk the file holds what was done and can be played.)";

struct Options {
  VideoSettings video;
  std::string iso = "auto";
  bool overwrite_input = false;
};

void CheckNames(const Options& options) {
  const VideoSettings& video = options.video;
  CheckTarget(video.target);
  VideoTargetOptions beside = video.target;
  beside.path = video.compare;
  if (!video.compare.empty()) CheckTarget(beside);
  if (video.target.path == "-" && isatty(STDOUT_FILENO) != 0)
    FailUsage("-o -: standard output is a terminal; send it to a file or a pipe");
  if (video.compare == "-" || (!video.compare.empty() && video.compare == video.target.path))
    FailUsage("--compare takes a file of its own");
  for (const std::string& path : {video.target.path, video.compare}) {
    std::error_code ignored;
    if (!options.overwrite_input && std::filesystem::equivalent(path, video.source.path, ignored))
      FailUsage(path + ": is the input; write to another name, or say -y to replace it");
  }
}

void AddEncoding(CLI::App* command, VideoSettings* video) {
  command->add_option("--codec", video->target.codec,
                      "FFmpeg's name of an encoder (default: libx264, or what the container is for)");
  command
      ->add_option("--crf", video->target.crf,
                   "the encoder's quality, lower is better (default: 17; VP9, AV1 24)")
      ->check(CLI::Range(0, 63));
  command->add_option("--preset", video->target.preset,
                      "the encoder's speed, as slow, medium or fast for libx264");
  command->add_option("--pix-fmt", video->target.pixels, "layout of the result's pixels (default: yuv420p)");
  command
      ->add_option("--threads", video->source.threads, "threads of decoder and encoder each; 0: as they like")
      ->check(CLI::Range(0, 64))
      ->capture_default_str();
}

}  // namespace

void AddVideoCommand(CLI::App& app, std::ostream& err) {
  auto options = std::make_shared<Options>();
  VideoSettings* video = &options->video;
  CLI::App* command = app.add_subcommand("video", "Clean every frame of a video with its neighbours");
  command->footer(kExamples);
  command->add_option("IN", video->source.path, "the video; - is standard input")->required();
  command->add_option("-o,--output", video->target.path, "the video to write; - is Y4M on standard output")
      ->required();
  command->add_option("--window", video->window, "frames merged for each result")
      ->check(CLI::Range(2, 10))
      ->capture_default_str();
  command->add_option("--mode", video->mode, "fast; fine: most texture, least noise, several times slower")
      ->transform(CLI::CheckedTransformer(ModeNames()))
      ->default_str("fast");
  command
      ->add_option("--iso", options->iso,
                   "sensitivity, which selects the tuning's band; auto: measured for each shot")
      ->capture_default_str();
  command->add_option("--start", video->source.start, "leave out this many seconds first")
      ->check(CLI::Range(0.0, 1e6));
  command->add_option("--duration", video->source.duration, "take this many seconds")
      ->check(CLI::Range(0.0, 1e6));
  AddEncoding(command, video);
  command->add_option("--compare", video->compare,
                      "also write a video of before and after beside each other");
  command->add_option("--config", video->config_folder,
                      "folder of multiframe.xml (default: the built-in tuning)");
  command->add_flag("-y,--overwrite-input", options->overwrite_input,
                    "let the result take the place of the input");
  command->add_flag("-q,--quiet", video->quiet, "tell nothing but errors");
  command->callback([options, video, &err] {
    video->iso = ParseNumberOrAuto(options->iso, "--iso", 0, 1);
    video->target.threads = video->source.threads;
    CheckNames(*options);
    CleanVideo(*video, err);
  });
}

}  // namespace zolt
