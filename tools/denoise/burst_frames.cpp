#include "denoise/burst_frames.h"

#include <algorithm>
#include <filesystem>

#include "common/errors.h"
#include "common/file_io.h"
#include "common/size_option.h"
#include "media/media_read.h"
#include "media/raw_frame.h"
#include "simulate/burst_folder.h"

namespace zolt {
namespace {

std::string SizeText(const YuvPicture& p) {
  return std::to_string(p.width) + " x " + std::to_string(p.height);
}

bool IsFolder(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

[[noreturn]] void FailCount(size_t count) {
  if (count > 0) {
    FailUsage(std::to_string(count) + " frames are more than " + std::to_string(kMostFrames) +
              "; choose with --frames " + std::to_string(kMostFrames) + " and --start K");
  }
  FailUsage(
      "no frame: give files, a video, or a folder made by 'zolt-burst simulate', and look at --frames and "
      "--start");
}

// The part of a list that --start and --frames choose; refuses what is no burst before anything large is
// read.
std::vector<std::string> Chosen(const std::vector<std::string>& all, const BurstSource& source) {
  const size_t first = std::min(all.size(), static_cast<size_t>(source.start));
  size_t count = all.size() - first;
  if (source.frames > 0) count = std::min(count, static_cast<size_t>(source.frames));
  if (count == 0 || count > kMostFrames) FailCount(count);
  return {all.begin() + static_cast<ptrdiff_t>(first), all.begin() + static_cast<ptrdiff_t>(first + count)};
}

// The first frame of each file.
BurstFrames OfFiles(const std::vector<std::string>& files) {
  BurstFrames burst;
  for (const std::string& file : files) {
    MediaReader reader(file);
    auto frame = reader.Next();
    if (!frame) FailFile(file + ": holds no picture");
    if (burst.frames.empty() && frame->iso) {
      burst.iso = frame->iso;
      burst.iso_source = "exif";
    }
    burst.frames.push_back(std::move(frame->picture));
    burst.frame_files.push_back(file);
    const YuvPicture& first = burst.frames.front();
    const YuvPicture& latest = burst.frames.back();
    if (latest.width != first.width || latest.height != first.height) {
      FailUsage(file + " is " + SizeText(latest) + ", but " + files.front() + " is " + SizeText(first) +
                "; crop or scale the frames so that all have one size");
    }
  }
  return burst;
}

BurstFrames OfFolder(const std::string& folder, const BurstSource& source) {
  const BurstInfo info = ReadBurstInfo(folder);
  std::vector<std::string> files;
  for (const std::string& name : info.frames)
    files.push_back((std::filesystem::path(folder) / name).string());
  BurstFrames burst = OfFiles(Chosen(files, source));
  burst.iso = info.iso;
  burst.iso_source = "burst.json";
  return burst;
}

BurstFrames OfVideo(const std::string& path, const BurstSource& source) {
  BurstFrames burst;
  const int wanted = source.frames > 0 ? source.frames : kVideoFrames;
  if (wanted > kMostFrames) FailCount(static_cast<size_t>(wanted));
  MediaReader reader(path);
  for (int i = 0; i < source.start + wanted; ++i) {
    auto frame = reader.Next();
    if (!frame) break;
    if (i < source.start) continue;
    if (!burst.frames.empty() &&
        (frame->picture.width != burst.frames[0].width || frame->picture.height != burst.frames[0].height)) {
      FailUsage(path + ": the frames change from " + SizeText(burst.frames[0]) + " to " +
                SizeText(frame->picture) + "; choose frames of one size with --start and --frames");
    }
    burst.frames.push_back(std::move(frame->picture));
    burst.frame_files.push_back(path);
  }
  if (burst.frames.empty()) FailCount(0);
  return burst;
}

// Raw files may hold several frames one after another.
BurstFrames OfRawFiles(const BurstSource& source) {
  if (source.size.empty()) {
    FailUsage(source.inputs.front() + ": a raw file doesn't tell its size; give it with --size WxH");
  }
  const auto [width, height] = ParseSize(source.size, "--size");
  if (width % 2 != 0 || height % 2 != 0) FailUsage("--size " + source.size + ": raw frames have even sides");
  const size_t frame_bytes = size_t(width) * static_cast<size_t>(height) / 2 * 3;
  BurstFrames burst;
  int left_out = 0;
  for (const std::string& path : source.inputs) {
    const auto layout = RawLayoutOf(path);
    if (!layout) FailUsage(path + ": raw files and other images can't be mixed in one burst");
    const std::vector<uint8_t> bytes = ReadWhole(path);
    if (bytes.empty() || bytes.size() % frame_bytes != 0) {
      FailFile(path + ": " + std::to_string(bytes.size()) + " bytes are no whole number of " + source.size +
               " frames of " + std::to_string(frame_bytes) + " bytes");
    }
    for (size_t at = 0; at < bytes.size(); at += frame_bytes) {
      if (left_out++ < source.start) continue;
      if (source.frames > 0 && burst.frames.size() == static_cast<size_t>(source.frames)) continue;
      if (burst.frames.size() == kMostFrames) FailCount(kMostFrames + 1);
      burst.frames.push_back(PictureFromRaw(&bytes[at], width, height, *layout));
      burst.frame_files.push_back(path);
    }
  }
  if (burst.frames.empty()) FailCount(0);
  return burst;
}

}  // namespace

BurstFrames LoadBurst(const BurstSource& source) {
  const bool raw = std::any_of(source.inputs.begin(), source.inputs.end(),
                               [](const std::string& path) { return RawLayoutOf(path) && !IsFolder(path); });
  if (raw) return OfRawFiles(source);
  if (!source.size.empty()) FailUsage("--size is for raw files (.nv21, .nv12, .i420, .yuv) only");
  if (source.inputs.size() == 1) {
    const std::string& only = source.inputs.front();
    return IsFolder(only) ? OfFolder(only, source) : OfVideo(only, source);
  }
  for (const std::string& path : source.inputs) {
    if (IsFolder(path)) FailUsage(path + ": is a folder; give one folder alone, or files");
  }
  return OfFiles(Chosen(source.inputs, source));
}

}  // namespace zolt
