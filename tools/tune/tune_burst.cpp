#include "tune/tune_burst.h"

#include <algorithm>
#include <filesystem>

#include "common/errors.h"
#include "common/file_io.h"
#include "denoise/burst_frames.h"
#include "media/media_read.h"
#include "simulate/burst_folder.h"

namespace zolt {
namespace {

namespace fs = std::filesystem;

constexpr size_t kFewestTuned = 2;
// The fusion takes place only when four frames before the last one are folded together.
constexpr int kFewestFused = 5;

struct Content {
  std::vector<std::string> inputs;  // as LoadBurst takes them
  std::string truth;
  bool fused = false;
};

bool IsPhotograph(const fs::path& file) {
  static const std::vector<std::string> kExtensions = {"png", "jpg", "jpeg", "tif", "tiff",
                                                       "bmp", "ppm", "webp", "y4m"};
  const std::string extension = ExtensionOf(file.string());
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

// A folder of photographs: in the order of their names, but for those that are no frame.
Content OfPhotographs(const std::string& folder) {
  Content content;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    if (!entry.is_regular_file() || !IsPhotograph(entry.path())) continue;
    const std::string stem = entry.path().stem().string();
    if (stem == "truth") {
      content.truth = entry.path().string();
    } else if (stem != "mean") {
      content.inputs.push_back(entry.path().string());
    }
  }
  if (error) FailFile(folder + ": can't be read: " + error.message());
  std::sort(content.inputs.begin(), content.inputs.end());
  return content;
}

Content ContentOf(const std::string& folder) {
  std::error_code ignored;
  if (!fs::is_directory(folder, ignored)) FailFile(folder + ": no such folder");
  if (!fs::exists(folder + "/burst.json", ignored)) return OfPhotographs(folder);
  const BurstInfo info = ReadBurstInfo(folder);
  Content content = {{folder}, "", info.last_ev > 0};
  // A darker last frame is left out.
  const std::string& truth = content.fused ? info.truth_last : info.truth;
  if (!truth.empty()) content.truth = (fs::path(folder) / truth).string();
  return content;
}

std::string Sides(int width, int height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

void CheckFit(const TuneBurst& burst, const TuneBurstNeeds& needs) {
  const auto refuse = [&](const std::string& why) { FailUsage(burst.folder + ": " + why); };
  const int side = std::min(burst.width(), burst.height());
  if (side - 2 * needs.border < 64) refuse("--border " + std::to_string(needs.border) + " leaves nothing");
  if (burst.truth.width != burst.width() || burst.truth.height != burst.height()) {
    refuse("the truth is " + Sides(burst.truth.width, burst.truth.height) + ", but the frames are " +
           Sides(burst.width(), burst.height()));
  }
  if (!burst.fused) return;
  if (!needs.fusion) refuse("its last frame is brighter; such bursts serve with --fusion alone");
  if (burst.total() < kFewestFused) refuse("a fused burst needs 5 frames or more, or nothing is fused");
}

}  // namespace

TuneBurst LoadTuneBurst(const std::string& folder, const TuneBurstNeeds& needs) {
  const Content content = ContentOf(folder);
  if (content.truth.empty()) {
    FailUsage(folder + ": has no truth; put the noise-free picture of its first frame there as truth.png");
  }
  if (content.inputs.empty()) FailUsage(folder + ": has no frame beside its truth");
  BurstFrames loaded;
  try {
    loaded = LoadBurst({content.inputs});
  } catch (const ToolError& e) {
    throw ToolError(e.code(), folder + ": " + e.what());
  }
  TuneBurst burst;
  burst.folder = folder;
  burst.told_iso = std::max(0, loaded.iso.value_or(0));
  burst.iso = burst.told_iso > 0 ? burst.told_iso : needs.iso;
  if (burst.iso < 0) FailUsage(folder + ": tells no ISO; give it with --iso");
  burst.fused = content.fused;
  for (AnyPicture& frame : loaded.frames) burst.frames.push_back(std::move(std::get<YuvPicture>(frame)));
  if (burst.frames.size() < kFewestTuned) FailUsage(folder + ": a single frame; a burst needs two or more");
  burst.truth = ReadPicture(content.truth);
  std::error_code ignored;
  if (fs::exists(folder + "/mean.png", ignored)) burst.mean = ReadPicture(folder + "/mean.png");
  CheckFit(burst, needs);
  return burst;
}

}  // namespace zolt
