#include "session/frame_pipeline.h"

#include <algorithm>
#include <cassert>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "ghost/ghost_detection.h"
#include "registration/luma_statistics.h"
#include "registration/registration.h"
#include "session/debug_observer.h"
#include "session/mf_session.h"
#include "session/multi_denoise.h"

namespace zolt {
namespace {

struct FrameRole {
  bool first;  ///< the burst's first frame to reach the pipeline
  bool last;
};

int32_t CornerDistance(float dx, float dy) {
  return TruncateToI32((dx * dx + dy * dy) + 0.5f);
}

RegistrationInput MakeRegistrationInput(const MfSession& session, FrameRole role) {
  RegistrationInput request = {};
  request.isFirstFrame = role.first ? 1 : 0;
  request.flagC = 1;
  request.doWarp = 1;
  request.iso = session.iso;
  request.planeCount = 2;
  request.reference = session.images[0];
  request.input = session.images[1];
  request.workMem = session.Region(kScratch);
  request.workMemSize = session.plan[kScratch].size;
  request.alloc = CurrentHooks().alloc;
  request.free = CurrentHooks().free;
  return request;
}

/// A frame that is in its place already: what registration would have found out beside the motion.
int32_t TakePlaced(const MfSession& session, MotionModel* model) {
  uint32_t histogram[kLumaLevels];
  const YuvImage& first = session.firstFrameImage;
  MeasureLuma({first.y, first.width, first.height}, histogram, &model->peakLevel, &model->lumaLevel);
  std::copy_n(session.placed->homography, 9, model->homography);
  model->aligned = session.images[1];
  return kOk;
}

int32_t Register(MfSession* session, FrameRole role, MotionModel* model) {
  RegistrationInput request = MakeRegistrationInput(*session, role);
  model->aligned = PlanarImage(session->Region(kAlignedFrame), session->width, session->height);
  return ImgRegistration(&request, model, session->Region(kRegistrationData),
                         session->plan[kRegistrationData].size);
}

/// Aligns the frame; model->aligned is the frame itself when it could not be. Negative: failure.
int32_t Align(MfSession* session, FrameRole role, MotionModel* model) {
  const int32_t result =
      session->placed != nullptr ? TakePlaced(*session, model) : Register(session, role, model);
  if (result < 0) {
    LogError("ImgRegistration return %d.", result);
    return result;
  }
  FusionPara& fusion = session->fusion;
  if (result > 0) {
    model->aligned = session->images[1];
  } else if (!role.last) {
    const int32_t motion = CornerMotion(model->homography, session->width, session->height);
    fusion.motionMax = std::max(fusion.motionMax, motion);
  }
  fusion.registered = result == 0 ? 1 : 0;
  return result;
}

GhostThresholds ScaledThresholds(const DeghostPara& para) {
  return {para.lumaTH_Low >> 4,   para.lumaTH_High >> 4,   para.lumaNoiseTH >> 4,
          para.chromaTH_Low >> 4, para.chromaTH_High >> 4, para.chromaNoiseTH >> 4};
}

/// What a placed frame does not show is not merged, like what moved, but it has not moved.
void LeaveOut(const uint8_t* outside, int64_t pixels, uint8_t* map) {
  for (int64_t i = 0; i < pixels; ++i) map[i] |= outside[i];
}

int32_t DetectGhosts(MfSession* session, const YuvImage& aligned, const GhostMask& mask) {
  const PlacedFrame* placed = session->placed;
  const int64_t pixels = int64_t{session->width} * session->height;
  if (placed != nullptr && placed->empty) {
    *mask.count = static_cast<uint32_t>(pixels);
    return kOk;
  }
  GhostStageInput input = {};
  input.images = {{session->images[0], aligned}, 2};
  input.firstImages = {{session->firstFrameImage}, 1};
  input.enabled = 1;
  input.thresholds = ScaledThresholds(session->parameters.deghost);
  input.scratch = session->Region(kScratch);
  input.scratchSize = session->plan[kScratch].size;
  const int32_t result = GhostDetection(&input, mask);
  if (result != kOk) {
    LogError("GhostDetection return %d.", result);
    return result;
  }
  session->fusion.ghostTotal = WrapAdd(session->fusion.ghostTotal, static_cast<int32_t>(*mask.count));
  if (placed != nullptr && placed->outside != nullptr) LeaveOut(placed->outside, pixels, mask.map);
  return kOk;
}

/// The fusion checks for ghosts itself, so the last frame of such a burst only hands it what it needs.
void PrepareFusion(MfSession* session) {
  const GhostThresholds thresholds = ScaledThresholds(session->parameters.deghost);
  int32_t* words = session->fusion.deghost;
  words[0] = thresholds.lumaTH_Low;
  words[1] = thresholds.lumaTH_High;
  words[2] = thresholds.lumaNoiseTH;
  words[3] = thresholds.chromaTH_Low;
  words[4] = thresholds.chromaTH_High;
  words[5] = thresholds.chromaNoiseTH;
  session->fusion.input = &session->images[1];
}

/// The running reference's share of each fold, of 256, by the frames of the burst. The same for every fold.
uint8_t BlendWeight(int32_t frame_total) {
  constexpr uint8_t kShares[] = {128, 156, 172, 182, 192, 197, 202, 207, 210};
  assert(frame_total >= 2 && frame_total <= 10);
  return kShares[frame_total - 2];
}

NrParameters MakeNrParameters(const MfSession& session, FrameRole role, const MotionModel& model,
                              int32_t* folded_frames) {
  NrParameters nr = TunedNrParameters(session.parameters);
  const bool own_share = session.placed != nullptr && session.placed->share != 0;
  nr.blendWeight = own_share ? session.placed->share : BlendWeight(session.frameTotal);
  nr.weightMap = session.Region(kWeightMap);
  nr.frameTotal = static_cast<uint8_t>(session.frameTotal);
  nr.iirImgNum = folded_frames;
  nr.firstFrame = role.first ? 1 : 0;
  nr.lastFrame = role.last ? 1 : 0;
  nr.iso = session.iso;
  nr.peakLevel = model.peakLevel;
  nr.lumaLevel = model.lumaLevel;
  return nr;
}

DenoiseFrame MakeDenoiseFrame(const MfSession& session, FrameRole role, const MotionModel& model,
                              const GhostMask& mask, int32_t* folded_frames) {
  DenoiseFrame frame = {};
  frame.context.images = {{session.images[0], model.aligned}, 2};
  frame.context.ghost = mask;
  frame.context.nr = MakeNrParameters(session, role, model, folded_frames);
  frame.context.firstImages = {{session.firstFrameImage}, 1};
  frame.context.eisMode = session.eisMode;
  const RegionName scratch = role.last ? kLastFrameScratch : kScratch;
  frame.context.fusionScratch = session.Region(scratch);
  frame.context.fusionScratchSize = session.plan[scratch].size;
  frame.fusion = session.fusion;
  // A frame that was not aligned lies in the caller's memory, so its place in the block is free.
  const RegionName room = session.fusion.registered != 0 ? kFusionScratch : kLastFrameScratch;
  frame.fusion_room = session.Region(room);
  frame.fusion_room_size = session.plan[room].size;
  return frame;
}

int32_t RunStages(MfSession* session, FrameRole role, const YuvImage& output, FrameWatch* watch) {
  MotionModel model = {};
  const int32_t alignment = Align(session, role, &model);
  watch->Lap(&FrameObservation::registration_us);
  if (alignment < 0) return alignment;
  if (!RegionsFit(session->plan)) {
    LogError("Memery not enough!");
    return kNoMemory;
  }
  const GhostMask mask = {session->Region(kGhostMap), &session->ghostCount};
  const bool fused = session->eisMode != 0 && role.last;
  if (fused) {
    PrepareFusion(session);
  } else {
    const int32_t result = DetectGhosts(session, model.aligned, mask);
    if (result != kOk) return result;
  }
  watch->Lap(&FrameObservation::ghost_us);

  int32_t folded_frames = session->IIRImgNum;
  DenoiseFrame frame = MakeDenoiseFrame(*session, role, model, mask, &folded_frames);
  if (watch->active()) {
    watch->seen.aligned = model.aligned;
    watch->seen.ghost_map = fused ? nullptr : mask.map;
    watch->seen.weight_map = frame.context.nr.weightMap;
    watch->seen.ghost_count = *mask.count;
    watch->seen.peak_level = model.peakLevel;
    watch->seen.luma_level = model.lumaLevel;
    watch->seen.registration_result = alignment;
    std::copy_n(model.homography, 9, watch->seen.homography);
  }
  const int32_t result = MultiDeNoise(&frame, output, watch);
  if (result != kOk) {
    LogError("MultiDeNoise return %d.", result);
    return result;
  }
  session->IIRImgNum = folded_frames;
  return kOk;
}

}  // namespace

NrParameters TunedNrParameters(const IsoParameters& parameters) {
  const NRPara& para = parameters.nr;
  const EnhancementPara& enhancement = parameters.enhancement;
  NrParameters nr = {};
  nr.lumaMed = para.lumaMed;
  nr.lumaLF = para.lumaLF;
  nr.lumaHF1 = para.lumaHF1;
  nr.lumaHF2 = para.lumaHF2;
  nr.lumaHF3 = para.lumaHF3;
  nr.chromaS = para.chromaS;
  nr.detail = para.detail;
  nr.chromaNrLUT = parameters.chromaNrLUT;
  nr.stageSwitchA = 1;
  nr.stageSwitchB = 1;
  nr.enhancementLevel = enhancement.enhancementLevel;
  nr.chromaDetail = enhancement.chromaDetail;
  nr.LumaEnhancementFlag = enhancement.LumaEnhancementFlag;
  nr.maxGain = enhancement.maxGain;
  nr.chromaGain = enhancement.chromaGain;
  nr.lumaTH = enhancement.lumaTH;
  nr.peakTH = enhancement.peakTH;
  return nr;
}

int32_t CornerMotion(const float homography[9], int32_t width, int32_t height) {
  const float* h = homography;
  const auto w_max = static_cast<float>(width - 1), h_max = static_cast<float>(height - 1);
  const float d1 = 1.0f / (w_max * h[6] + 1.0f);
  const float d2 = 1.0f / (h_max * h[7] + 1.0f);
  const float d3 = 1.0f / ((w_max * h[6] + h_max * h[7]) + 1.0f);
  const int32_t corners[4] = {
      CornerDistance(h[2], h[5]),
      CornerDistance(d1 * (h[2] + w_max * h[0]) - w_max, d1 * (h[5] + w_max * h[3])),
      CornerDistance(d2 * (h[2] + h_max * h[1]), d2 * (h[5] + h_max * h[4]) - h_max),
      CornerDistance(d3 * ((h[2] + w_max * h[0]) + h_max * h[1]) - w_max,
                     d3 * ((h[5] + w_max * h[3]) + h_max * h[4]) - h_max),
  };
  return WrapAdd(WrapAdd(corners[0], corners[1]), WrapAdd(corners[2], corners[3])) >> 2;
}

int32_t TwoFramesDeNoise(MfSession* session, const YuvImage& output) {
  const FrameRole role = {session->burstState == 0, session->frameTotal == 2 || session->burstState == 2};
  if (role.first) {
    session->firstFrameImage = session->images[0];
    session->fusion.iso = session->iso;
    session->fusion.ghostTotal = 0;
    session->fusion.motionMax = 0;
  }
  FrameWatch watch;
  watch.seen.last = role.last;
  if (session->placed != nullptr) watch.seen.index = session->placed->index;
  const int32_t result = RunStages(session, role, output, &watch);
  watch.seen.result = result;
  watch.Tell(FrameObservation::Moment::kDone);
  if (result != kOk) LogError("TwoFramesDeNoise return %d.", result);
  return result;
}

}  // namespace zolt
