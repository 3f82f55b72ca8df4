#include "session/multi_denoise.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "noise/luma_gain.h"
#include "noise/spatial_stage.h"
#include "noise/temporal_merge.h"
#include "session/chroma_repair.h"
#include "session/padded_copy.h"

namespace zolt {
namespace {

/// The spatial stages and the fusion leave smaller images alone.
constexpr int32_t kSmallestFiltered = 256;
/// With fewer frames folded, so much noise is left that the strong filter is due.
constexpr int32_t kWellFolded = 4;

size_t LumaSize(const YuvImage& image) {
  return static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
}

int32_t FoldFrame(const DenoiseFrame& frame, const YuvImage& output) {
  const NrStageContext& context = frame.context;
  const YuvImage& reference = context.images.images[0];
  const size_t luma = LumaSize(reference);
  const bool fused = context.nr.lastFrame != 0 && context.eisMode != 0;
  if (*context.ghost.count < luma / 3 && !fused) {
    const int32_t result = TemporalNrMaincall(context, output);
    if (result != kOk) LogError("TemporalNrMaincall return %d.", result);
    return result;
  }
  // A frame that is skipped contributes nothing; but the result must start as something.
  if (context.nr.firstFrame == 1) {
    std::memmove(output.y, reference.y, luma);
    std::memmove(output.u, reference.u, luma / 4);
    std::memmove(output.v, reference.v, luma / 4);
  }
  return kOk;
}

uint8_t LowByte(int32_t v) {
  return static_cast<uint8_t>(static_cast<uint32_t>(v) & 255);
}

/// Lifts a dark scene; gains in units of 1/16, kept in bytes with all that this drops.
void LiftDarkScene(const NrParameters& nr, const YuvImage& output) {
  const bool dark = nr.lumaLevel < nr.lumaTH / 10 && nr.peakLevel < nr.peakTH / 10;
  if (nr.LumaEnhancementFlag == 0 || !dark) return;
  const uint8_t to_white = LowByte(TruncateToI32(16.0f * (255.0f / static_cast<float>(nr.lumaLevel + 1))));
  const uint8_t gain = std::min(LowByte(std::min(nr.maxGain, 255)), to_white);
  const uint8_t chroma = LowByte(TruncateToI32(16.0 * std::pow(gain / 16.0, nr.chromaGain / 16.0)));
  LumaEnhance(output, output.width, output.height, gain, chroma);
}

int32_t FilterStrongly(NrStageContext* context, const YuvImage& image) {
  int32_t& strength = context->nr.chromaS;
  strength = WrapAdd(strength, WrapMul(2, WrapAdd(strength, 100)));
  return SpatialNrHighLevelMainCall(*context, image);
}

/// Fusion with the last frame, or the plain filter, stronger in chroma, when the scene moved too much for it.
/// `before_filter` runs between the two.
template <typename BeforeFilter>
int32_t FuseOrFilter(NrStageContext* context, const FusionPara& fusion, const YuvImage& image,
                     const YuvImage& aligned, BeforeFilter before_filter) {
  const int32_t result = ExposureFusion(image, aligned, fusion);
  before_filter();
  if (result != kTooMuchGhost) return result;
  context->nr.chromaS = WrapAdd(context->nr.chromaS, 10);
  return SpatialNrLowLevelMainCall(*context, image);
}

/// Fills the fusion's record for `context`'s image, with `room` to work in.
void CompleteFusion(FusionPara* fusion, const NrStageContext& context, uint8_t* room, uint64_t room_size) {
  fusion->weightMap = context.nr.weightMap;
  fusion->frameTotal = context.nr.frameTotal;
  fusion->iirImgNum = context.nr.iirImgNum;
  fusion->scratch = room;
  fusion->scratchSize = room_size;
  fusion->chromaDetail = context.nr.chromaDetail;
}

int32_t FinishInPlace(DenoiseFrame* frame, const YuvImage& output, HookBlock* snapshot) {
  NrStageContext& context = frame->context;
  int32_t result = kOk;
  if (*context.nr.iirImgNum < kWellFolded) {
    result = FilterStrongly(&context, output);
    if (result != kOk) LogError("SpatialNrHighLevelMainCall return %d.", result);
  } else {
    if (context.eisMode != 0) {
      CompleteFusion(&frame->fusion, context, frame->fusion_room, frame->fusion_room_size);
      result = FuseOrFilter(&context, frame->fusion, output, context.images.images[1], [] {});
    } else {
      result = SpatialNrLowLevelMainCall(context, output);
    }
    if (result != kOk) LogError("SpatialNrLowLevelMainCall return %d.", result);
  }
  // The hook's owner expects a snapshot back only from a filter that went well or was padded.
  if (result != kOk) snapshot->Abandon();
  return result;
}

int32_t RefusePaddedCopy() {
  LogError("Memery Allocating Error!");
  return kNoMemory;
}

/// What the finish of an image leads to: a result that is returned at once, or one that is kept while the
/// image is completed.
struct Finish {
  int32_t result;
  bool complete;
};

Finish FinishPadded(DenoiseFrame* frame, const YuvImage& output) {
  ByteBlock copy_block(PaddedCopySize(output.width, output.height), kDenoisePool);
  if (!copy_block) return {RefusePaddedCopy(), false};
  const PaddedCopy padded = MakePaddedCopy(copy_block.data(), output, frame->context.nr.weightMap);
  NrStageContext paddedContext = frame->context;
  paddedContext.nr.weightMap = padded.weights;

  int32_t result = kOk;
  if (*paddedContext.nr.iirImgNum < kWellFolded) {
    result = FilterStrongly(&paddedContext, padded.image);
    if (result != kOk) {
      LogError("SpatialNrHighLevelMainCall return %d.", result);
      return {result, false};
    }
  } else if (paddedContext.eisMode == 0) {
    result = SpatialNrLowLevelMainCall(paddedContext, padded.image);
  } else {
    ByteBlock aligned_block(PaddedCopySize(output.width, output.height), kDenoisePool);
    if (!aligned_block) return {RefusePaddedCopy(), false};
    const YuvImage paddedAligned = MakeExtendedCopy(aligned_block.data(), paddedContext.images.images[1]);
    // The aligned frame has moved out of the burst's block, so the fusion may have all of its place.
    CompleteFusion(&frame->fusion, paddedContext, paddedContext.fusionScratch,
                   paddedContext.fusionScratchSize);
    result = FuseOrFilter(&paddedContext, frame->fusion, padded.image, paddedAligned,
                          [&] { aligned_block.Release(); });
  }
  CropTo(output, padded.image);
  return {result, true};
}

int32_t FinishImage(DenoiseFrame* frame, const YuvImage& output) {
  LiftDarkScene(frame->context.nr, output);
  const size_t luma = LumaSize(output);
  ByteBlock snapshot(luma / 2, kDenoisePool);
  if (snapshot) std::memcpy(snapshot.data(), output.u, luma / 2);

  Finish finish = {kOk, true};
  if (output.width % 16 == 0 && output.height % 16 == 0) {
    finish.result = FinishInPlace(frame, output, &snapshot);
    finish.complete = finish.result == kOk;
  } else {
    finish = FinishPadded(frame, output);
  }
  if (finish.complete && snapshot) RepairHighlightChroma(output, snapshot.data());
  return finish.result;
}

}  // namespace

int32_t MultiDeNoise(DenoiseFrame* frame, const YuvImage& output, FrameWatch* watch) {
  const int32_t folded = FoldFrame(*frame, output);
  watch->Lap(&FrameObservation::temporal_us);
  if (folded != kOk) return folded;
  watch->Tell(FrameObservation::Moment::kMerged);
  const bool last = frame->context.nr.lastFrame == 1;
  if (!last || output.width < kSmallestFiltered || output.height < kSmallestFiltered) return kOk;
  const int32_t result = FinishImage(frame, output);
  watch->Lap(&FrameObservation::finish_us);
  return result;
}

}  // namespace zolt
