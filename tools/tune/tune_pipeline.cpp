#include "tune/tune_pipeline.h"

#include <algorithm>

#include "config/iso_selection.h"
#include "denoise/burst_frames.h"
#include "denoise/denoise_run.h"
#include "media/raw_frame.h"
#include "session/frame_pipeline.h"
#include "session/memory_plan.h"
#include "session/mf_session.h"
#include "session/multi_denoise.h"

namespace zolt {
namespace {

// Everything of the tuning that decides how the frames are merged.
std::vector<int32_t> MergeKeys(const MfConfig& config, int iso) {
  const IsoParameters p = SelectIsoParameters(iso, config);
  const DeghostPara& g = p.deghost;
  return {p.noiseReductionOn, g.lumaTH_Low,    g.lumaTH_High,  g.lumaNoiseTH,
          g.chromaTH_Low,     g.chromaTH_High, g.chromaNoiseTH};
}

// The scratch that the spatial stages find in a burst's own block.
size_t FilterScratchSize(int width, int height) {
  MemoryPlan plan;
  if (!MakeMemoryPlan(width, height, true, false, &plan)) throw LibraryRefused(ZOLT_MF_NO_MEMORY, "tune");
  return static_cast<size_t>(plan[kLastFrameScratch].size);
}

}  // namespace

TunePipeline::TunePipeline(const TuneBurst& burst, const std::string& config_folder) : burst_(burst) {
  MfSession* session = nullptr;
  const int32_t code = zolt_mfInitialize(&session, (config_folder + "/").c_str(), nullptr);
  if (code != ZOLT_MF_OK) throw LibraryRefused(code, config_folder);
  session_.reset(session);
  result_.resize(burst.frames.front().size());
}

TunePipeline::~TunePipeline() = default;

void TunePipeline::Hear(void* user, const FrameObservation& seen) {
  auto* self = static_cast<TunePipeline*>(user);
  if (!seen.last || seen.moment != FrameObservation::Moment::kMerged) return;
  // The buffers have their size already: nothing is allocated inside the library's call.
  std::copy(self->result_.begin(), self->result_.end(), self->kept_.image.begin());
  std::copy_n(seen.weight_map, self->kept_.weights.size(), self->kept_.weights.begin());
  self->kept_.peak_level = seen.peak_level;
  self->kept_.luma_level = seen.luma_level;
}

void TunePipeline::RunAll(const MfConfig& config) {
  session_->config = config;
  const int total = burst_.total();
  for (int i = 0; i < total; ++i) {
    const MfFrameExtra extra = {0, burst_.fused ? 1 : 0, 0, i};
    const int32_t tag = i == 0 ? ZOLT_MF_TAG_FIRST : i == total - 1 ? ZOLT_MF_TAG_LAST : ZOLT_MF_TAG_MIDDLE;
    const int32_t code =
        zolt_mfNoiseReduction(session_.get(), burst_.frames[i].data(), result_.data(), burst_.padded_height,
                              burst_.padded_width, tag, total, ZOLT_MF_FORMAT_I420, burst_.iso, &extra);
    if (code != ZOLT_MF_OK) {
      throw LibraryRefused(
          code, burst_.folder + ", frame " + std::to_string(i + 1) + " of " + std::to_string(total));
    }
  }
}

void TunePipeline::MergeUnder(const MfConfig& config) {
  std::vector<int32_t> keys = MergeKeys(config, burst_.iso);
  if (keys == merged_under_) return;
  merged_under_.clear();
  kept_.image.resize(result_.size());
  kept_.weights.resize(result_.size() / 3 * 2);
  SetFrameObserver(&Hear, this);
  try {
    RunAll(config);
  } catch (...) {
    SetFrameObserver(nullptr, nullptr);
    throw;
  }
  SetFrameObserver(nullptr, nullptr);
  kept_.folded = session_->IIRImgNum;
  merged_under_ = std::move(keys);
}

// The end of the last frame's call, with nothing to fold: a frame that has moved throughout is left out.
void TunePipeline::Filter(const MfConfig& config, std::vector<uint8_t>* image) {
  const int width = burst_.padded_width;
  const int height = burst_.padded_height;
  const YuvImage output = PlanarImage(image->data(), width, height);
  uint32_t moved = static_cast<uint32_t>(width) * static_cast<uint32_t>(height);
  int32_t folded = kept_.folded;
  scratch_.resize(FilterScratchSize(width, height));
  DenoiseFrame frame = {};
  frame.context.images = {{output, output}, 2};
  frame.context.ghost = {nullptr, &moved};
  frame.context.fusionScratch = scratch_.data();
  frame.context.fusionScratchSize = scratch_.size();
  NrParameters& nr = frame.context.nr;
  nr = TunedNrParameters(SelectIsoParameters(burst_.iso, config));
  nr.weightMap = kept_.weights.data();
  nr.frameTotal = static_cast<uint8_t>(burst_.total());
  nr.iirImgNum = &folded;
  nr.lastFrame = 1;
  nr.iso = burst_.iso;
  nr.peakLevel = kept_.peak_level;
  nr.lumaLevel = kept_.luma_level;
  FrameWatch watch;
  const int32_t code = MultiDeNoise(&frame, output, &watch);
  if (code != ZOLT_MF_OK) throw LibraryRefused(code, burst_.folder);
}

YuvPicture TunePipeline::PictureOf(const std::vector<uint8_t>& image) const {
  return Cropped(PictureFromRaw(image.data(), burst_.padded_width, burst_.padded_height, RawLayout::kI420),
                 burst_.width, burst_.height);
}

YuvPicture TunePipeline::Merged(const MfConfig& config) {
  MergeUnder(config);
  return PictureOf(kept_.image);
}

YuvPicture TunePipeline::Finished(const MfConfig& config) {
  if (burst_.fused) {
    RunAll(config);
    return PictureOf(result_);
  }
  MergeUnder(config);
  std::copy(kept_.image.begin(), kept_.image.end(), result_.begin());
  Filter(config, &result_);
  return PictureOf(result_);
}

}  // namespace zolt
