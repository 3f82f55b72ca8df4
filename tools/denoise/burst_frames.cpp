#include "denoise/burst_frames.h"

#include <algorithm>
#include <filesystem>

#include "common/errors.h"
#include "common/file_io.h"
#include "common/size_option.h"
#include "media/file_kind.h"
#include "media/raw_frame.h"
#include "simulate/burst_folder.h"

namespace zolt {
namespace {

constexpr int kSmallestSide = 16;  // that the library takes

std::string SizeText(const AnyPicture& p) {
  return std::to_string(WidthOf(p)) + " x " + std::to_string(HeightOf(p));
}

bool IsFolder(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

[[noreturn]] void FailEmpty(const std::string& input) {
  FailUsage(input + ": no picture among what was given; name photos, a video or a folder that holds them");
}

[[noreturn]] void FailCount(size_t count) {
  if (count > 0) {
    FailUsage(std::to_string(count) + " frames are more than " + std::to_string(kMostFrames) +
              "; choose with --frames " + std::to_string(kMostFrames) + " and --start K");
  }
  FailUsage("no frame is left: look at --start");
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

[[noreturn]] void FailSize(const std::string& what, const AnyPicture& a, const std::string& other,
                           const AnyPicture& b) {
  FailUsage(what + " is " + SizeText(a) + ", but " + other + " is " + SizeText(b) +
            "; crop or scale the frames so that all have one size");
}

// Takes frames one by one, and tells where they are unlike the first.
class Collector {
 public:
  Collector(const BurstSource& source, BurstFrames* burst) : source_(source), burst_(burst) {}

  void Take(const std::string& file, Metadata metadata, MediaFrame frame) {
    BurstFrames& burst = *burst_;
    if (frame.orientation && *frame.orientation != metadata.orientation)
      metadata.orientation = *frame.orientation;
    if (frame.bits > 8) deep_ = std::max(deep_, frame.bits);
    const bool first = burst.frames.empty();
    AnyPicture picture;
    if (frame.rgb) {
      picture = std::move(*frame.rgb);
    } else {
      picture = std::move(frame.picture);
    }
    if (std::min(WidthOf(picture), HeightOf(picture)) < kSmallestSide)
      FailUsage(file + ": is " + SizeText(picture) + "; a frame's sides are 16 or more");
    burst.shots.push_back(FactsOf(metadata));
    if (!burst.shots.back().iso) burst.shots.back().iso = frame.iso;
    if (first) {
      burst.iso = burst.shots[0].iso;
      burst.iso_source = "exif";
    } else {
      Compare(file, metadata, picture);
    }
    burst.metadata.push_back(std::move(metadata));
    if (burst.files.empty() || burst.files.back() != file) {
      burst.files.push_back(file);
      const std::string& fault = burst.metadata.back().fault;
      if (!fault.empty()) Note(file + ": its metadata can't be read and is left out: " + fault);
    }
    burst.frame_files.push_back(file);
    burst.frames.push_back(source_.upright ? Turned(picture, burst.metadata.front().orientation)
                                           : std::move(picture));
  }

  void Finish() {
    if (deep_ > 8) Note(std::to_string(deep_) + " bits a sample are rounded to 8");
    if (!source_.upright) return;
    const AnyPicture& first = burst_->frames.front();
    for (Metadata& each : burst_->metadata) {
      if (each.orientation != kUpright) each = UprightMetadata(each, WidthOf(first), HeightOf(first));
    }
  }

 private:
  void Note(const std::string& line) { burst_->notes.push_back(line); }

  void Compare(const std::string& file, const Metadata& metadata, const AnyPicture& picture) {
    const AnyPicture& first = burst_->frames.front();
    const std::string& name = burst_->files.front();
    const Metadata& told = burst_->metadata.front();
    const bool turned = source_.upright && ExchangesSides(told.orientation);
    if (WidthOf(picture) != (turned ? HeightOf(first) : WidthOf(first)) ||
        HeightOf(picture) != (turned ? WidthOf(first) : HeightOf(first))) {
      FailSize(file == name ? file + ": a later frame" : file, picture, file == name ? "the first" : name,
               first);
    }
    // Pixels are compared as they lie on the sensor: a phone that was turned within the burst changed only
    // the tag.
    if (metadata.orientation != told.orientation)
      Note(file + ": its orientation (" + std::to_string(metadata.orientation) + ") is not that of " + name +
           " (" + std::to_string(told.orientation) + "); the reference's is taken for all");
    if (metadata.icc != told.icc)
      Note(file + ": its colour profile is not that of " + name +
           "; the reference's is taken for all, colours may be mixed wrong");
  }

  const BurstSource& source_;
  BurstFrames* burst_;
  int deep_ = 8;
};

std::optional<MediaFrame> NextOf(MediaReader* reader, const BurstSource& source) {
  return source.keep_rgb ? reader->NextAsItIs() : reader->Next();
}

// The first frame of each file.
BurstFrames OfFiles(const std::vector<std::string>& files, const BurstSource& source) {
  BurstFrames burst;
  Collector collector(source, &burst);
  ReadOptions options = source.read;
  for (const std::string& file : files) {
    MediaReader reader(file, options);
    auto frame = NextOf(&reader, source);
    if (!frame) FailFile(file + ": holds no picture");
    // Raw frames of a burst are developed alike, though a camera may have told another white balance for
    // each.
    if (!options.white_balance) options.white_balance = frame->white_balance;
    collector.Take(file, ReadMetadataOf(file), std::move(*frame));
  }
  collector.Finish();
  return burst;
}

BurstFrames OfFolder(const std::string& folder, const BurstSource& source) {
  const BurstInfo info = ReadBurstInfo(folder);
  std::vector<std::string> files;
  for (const std::string& name : info.frames)
    files.push_back((std::filesystem::path(folder) / name).string());
  BurstFrames burst = OfFiles(Chosen(files, source), source);
  burst.iso = info.iso;
  burst.iso_source = "burst.json";
  return burst;
}

// A video, or an image file of several frames. `path` is what is read, `name` what it is called.
BurstFrames OfVideo(const std::string& path, const std::string& name, const BurstSource& source) {
  BurstFrames burst;
  Collector collector(source, &burst);
  const FileKind kind = KindOf(path);
  const bool images = kind == FileKind::kImage || kind == FileKind::kHeif || kind == FileKind::kMovingWebp;
  const int wanted = source.frames > 0 ? source.frames : images ? kMostFrames : kVideoFrames;
  if (wanted > kMostFrames) FailCount(static_cast<size_t>(wanted));
  const Metadata metadata = ReadMetadataOf(path);
  MediaReader reader(path, source.read);
  for (int i = 0; i < source.start + wanted; ++i) {
    auto frame = NextOf(&reader, source);
    if (!frame) break;
    if (i >= source.start) collector.Take(name, metadata, std::move(*frame));
  }
  if (burst.frames.empty()) FailCount(0);
  collector.Finish();
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
    burst.files.push_back(path);
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
      burst.shots.emplace_back();
      burst.metadata.emplace_back();
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
  if (!source.size.empty()) FailUsage("--size is for raw frames (.nv21, .nv12, .i420, .yuv) only");
  const std::string& only = source.inputs.front();
  const bool one = source.inputs.size() == 1;
  if (one && only == "-") {
    const StandardInput input;
    try {
      return OfVideo(input.path(), "standard input", source);
    } catch (const ToolError& e) {
      std::string text = e.what();
      if (text.rfind(input.path(), 0) == 0) text.replace(0, input.path().size(), "standard input");
      throw ToolError(e.code(), text);
    }
  }
  if (one && IsFolder(only) && HasBurstInfo(only)) return OfFolder(only, source);
  if (one && !IsFolder(only)) return OfVideo(only, only, source);
  const InputList list = PicturesAmong(source.inputs, source.order);
  if (list.files.empty()) FailEmpty(only);
  if (list.files.size() == 1 && one) return OfVideo(list.files[0], list.files[0], source);
  BurstFrames burst = OfFiles(Chosen(list.files, source), source);
  burst.notes.insert(burst.notes.begin(), list.notes.begin(), list.notes.end());
  return burst;
}

}  // namespace zolt
