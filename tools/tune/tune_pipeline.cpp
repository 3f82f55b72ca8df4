#include "tune/tune_pipeline.h"

#include <algorithm>

#include "burst/burst_run.h"
#include "burst/fine_finish.h"
#include "burst/placed_planes.h"
#include "config/iso_selection.h"
#include "denoise/denoise_run.h"
#include "denoise/layer_pictures.h"
#include "session/frame_pipeline.h"
#include "session/memory_plan.h"
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
size_t FilterScratchSize(const WorkGeometry& work) {
  MemoryPlan plan;
  if (!MakeMemoryPlan(work.work_width, work.work_height, true, false, &plan))
    throw LibraryRefused(ZOLT_BURST_NO_MEMORY, "tune");
  return static_cast<size_t>(plan[kLastFrameScratch].size);
}

// Calls the observer while this lives.
class Observing {
 public:
  Observing(FrameObserver observer, void* user) { SetFrameObserver(observer, user); }
  ~Observing() { SetFrameObserver(nullptr, nullptr); }
  Observing(const Observing&) = delete;
  Observing& operator=(const Observing&) = delete;
};

}  // namespace

TunePipeline::TunePipeline(const TuneBurst& burst, const MfConfig& config)
    : burst_(burst),
      work_(MakeWorkGeometry(burst.width(), burst.height())),
      memory_({nullptr, nullptr}),
      merge_(&memory_) {
  PlaceFrames(config);
  memory_.Trim();
}

void TunePipeline::Check(int32_t result) const {
  if (result != ZOLT_BURST_OK) throw LibraryRefused(result, burst_.folder);
}

// As a burst goes through the layer, up to its merge: the tuning has no say in that.
void TunePipeline::PlaceFrames(const MfConfig& config) {
  const std::vector<zolt_burst_picture> views = ViewsOf(burst_.frames);
  std::vector<const zolt_burst_picture*> frames;
  for (const zolt_burst_picture& view : views) frames.push_back(&view);
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  options.iso = burst_.iso;
  options.reference = 0;
  options.mode = ZOLT_BURST_FINE;  // aligned once for both modes, with the care of the more exact one
  options.fusion = burst_.fused ? ZOLT_BURST_FUSION_AUTO : ZOLT_BURST_FUSION_OFF;
  const Tunings tunings = {config, config, config};
  BurstRun run(options, tunings, &memory_);
  try {
    run.Choose(frames.data(), static_cast<int>(frames.size()));
  } catch (const BurstStopped& stopped) {
    Check(stopped.result);
  }
  iso_ = run.report().iso;
  PlacedPlanes planes(work_, &memory_);
  planes.PutReference(views.front());
  reference_.assign(planes.block(), planes.block() + work_.block_size());
  const YuvImage reference = PlanarImage(reference_.data(), work_.work_width, work_.work_height);
  for (size_t i = 1; i < views.size(); ++i) {
    const FrameState& state = run.frames()[i];
    const bool fuse = state.told.use == ZOLT_BURST_FUSED;
    if (!fuse && state.told.use != ZOLT_BURST_USED) continue;
    planes.PutFrame(views[i], state.alignment, !fuse, reference);
    placed_.push_back({static_cast<int>(i), fuse, state.alignment.motion,
                       std::vector<uint8_t>(planes.block(), planes.block() + work_.block_size()),
                       std::vector<uint8_t>(planes.outside(), planes.outside() + work_.pixels())});
  }
}

void TunePipeline::Hear(void* user, const FrameObservation& seen) {
  auto* self = static_cast<TunePipeline*>(user);
  if (!seen.last || seen.moment != FrameObservation::Moment::kMerged) return;
  // The buffers have their size already: nothing is allocated inside the library's call.
  std::copy_n(self->merge_.result().y, self->kept_.image.size(), self->kept_.image.begin());
  std::copy_n(seen.weight_map, self->kept_.weights.size(), self->kept_.weights.begin());
  self->kept_.peak_level = seen.peak_level;
  self->kept_.luma_level = seen.luma_level;
}

void TunePipeline::FoldAll(const MfConfig& config) {
  Check(merge_.Start(config, iso_, work_, reference_.data()));
  for (const Placed& frame : placed_) {
    if (!frame.fuse) {
      Check(merge_.Fold(frame.index, frame.block.data(), frame.outside.data(), frame.motion));
    } else if (merge_.merged() >= MergeSession::kFewestFused) {
      Check(merge_.Fuse(config, frame.index, frame.block.data(), frame.motion));
    }
  }
}

void TunePipeline::RunAll(const MfConfig& config) {
  FoldAll(config);
  if (!merge_.ended()) Check(merge_.End());
}

void TunePipeline::MergeUnder(const MfConfig& config) {
  std::vector<int32_t> keys = MergeKeys(config, iso_);
  if (keys == merged_under_) return;
  merged_under_.clear();
  kept_.image.resize(static_cast<size_t>(work_.block_size()));
  kept_.weights.resize(static_cast<size_t>(work_.pixels()));
  const Observing observing(&Hear, this);
  RunAll(config);
  kept_.folded = merge_.merged();
  merged_under_ = std::move(keys);
}

// The end of the burst, with nothing to fold: a frame that has moved throughout is left out.
void TunePipeline::Filter(const MfConfig& config, std::vector<uint8_t>* image) {
  const YuvImage output = PlanarImage(image->data(), work_.work_width, work_.work_height);
  auto moved = static_cast<uint32_t>(work_.pixels());
  int32_t folded = kept_.folded;
  scratch_.resize(FilterScratchSize(work_));
  DenoiseFrame frame = {};
  frame.context.images = {{output, output}, 2};
  frame.context.ghost = {nullptr, &moved};
  frame.context.fusionScratch = scratch_.data();
  frame.context.fusionScratchSize = scratch_.size();
  NrParameters& nr = frame.context.nr;
  nr = TunedNrParameters(SelectIsoParameters(iso_, config));
  nr.weightMap = kept_.weights.data();
  nr.frameTotal = static_cast<uint8_t>(std::max(2, kept_.folded));
  nr.iirImgNum = &folded;
  nr.lastFrame = 1;
  nr.iso = iso_;
  nr.peakLevel = kept_.peak_level;
  nr.lumaLevel = kept_.luma_level;
  FrameWatch watch;
  const EngineMemory engine(&memory_);
  const int32_t code = MultiDeNoise(&frame, output, &watch);
  if (code != 0) throw LibraryRefused(ZOLT_BURST_NO_MEMORY, burst_.folder);
}

YuvPicture TunePipeline::PictureOf(std::vector<uint8_t>* image) const {
  return PictureInside(PlanarImage(image->data(), work_.work_width, work_.work_height), work_);
}

YuvPicture TunePipeline::Merged(const MfConfig& config) {
  MergeUnder(config);
  return PictureOf(&kept_.image);
}

YuvPicture TunePipeline::Finished(const MfConfig& config) {
  if (burst_.fused) {
    RunAll(config);
    return PictureInside(merge_.result(), work_);
  }
  MergeUnder(config);
  std::vector<uint8_t> image = kept_.image;
  Filter(config, &image);
  return PictureOf(&image);
}

YuvPicture TunePipeline::Fine(const MfConfig& config) {
  if (burst_.fused) return Finished(config);
  FoldAll(config);
  FineFinish fine(&memory_);
  const zolt_burst_picture first = ViewOf(burst_.first());
  if (!fine.Finish(merge_, work_, first)) return Finished(config);
  YuvPicture picture(burst_.width(), burst_.height());
  WritePicture(fine.luma(), fine.chroma(), &first, ViewOf(picture), &memory_);
  return picture;
}

}  // namespace zolt
