#include "session/burst.h"

#include <cstring>

#include "base/alloc_hooks.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "session/frame_pipeline.h"
#include "session/plane_conversion.h"

namespace zolt {
namespace {

size_t LumaSize(int32_t width, int32_t height) {
  return static_cast<size_t>(width) * static_cast<size_t>(height);
}

int32_t LogFrameTime(const MfSession& session, const FrameCall& call, int32_t result) {
  LogInfo("Current frame time = %ld, IIRImgNum = %d, ret = %d.", static_cast<long>(std::clock() - call.start),
          session.IIRImgNum, result);
  return result;
}

bool PublicMemAlloc(MfSession* session, const FrameCall& call) {
  session->publicMem = nullptr;
  const bool planar = call.format == ZOLT_MF_FORMAT_I420;
  const bool fusion = session->config.ExposureFusionFlag != 0;
  if (!MakeMemoryPlan(call.width, call.height, planar, fusion, &session->plan)) return false;
  void* block = CurrentHooks().alloc(static_cast<uint32_t>(session->plan.block_size), kDenoisePool, 0);
  if (block == nullptr) return false;
  session->publicMem = static_cast<uint8_t*>(block);
  session->arenaBlock = session->publicMem;
  return true;
}

void ApplyFusionSettings(const FusionSettings& from, FusionPara* to) {
  *to = {};
  to->bandLevels = from.bandLevels;
  to->fusion_low = from.fusion_low;
  to->fusion_high = from.fusion_high;
  to->lumaLF = from.lumaLF;
  to->detail = from.detail;
  to->chromaS = from.chromaS;
  to->chromaNrTable = from.chromaNrTable;
  to->SaturationGain = from.SaturationGain;
  to->ChromaFusionFlag = from.ChromaFusionFlag;
  to->HDRFusionFlag = from.HDRFusionFlag;
  to->boostDetail = from.boostDetail;
  to->detailRestore = from.detailRestore;
  to->detailMin = from.detailMin;
  to->isoTH = from.isoTH;
  to->ghostTH = from.ghostTH;
  to->maxShift = from.maxShift;
  to->lumaTH = from.lumaTH;
}

void SelectParameters(MfSession* session, const FrameCall& call) {
  session->iso = call.iso;
  session->parameters = SelectIsoParameters(call.iso, session->config);
  ApplyFusionSettings(session->parameters.fusion, &session->fusion);
  session->eisMode = call.extra != nullptr ? call.extra->eis_mode : session->parameters.eisMode;
  const NRPara& nr = session->parameters.nr;
  const DeghostPara& ghost = session->parameters.deghost;
  LogInfo("eis_mode = %d, NRPara = %d, %d, %d, %d, %d, %d, %d,   DeghostPara = %d, %d, %d, %d, %d, %d.",
          session->eisMode, nr.lumaMed, nr.lumaLF, nr.lumaHF1, nr.lumaHF2, nr.lumaHF3, nr.chromaS, nr.detail,
          ghost.lumaTH_Low, ghost.lumaTH_High, ghost.lumaNoiseTH, ghost.chromaTH_Low, ghost.chromaTH_High,
          ghost.chromaNoiseTH);
}

void StoreReference(MfSession* session, const FrameCall& call) {
  const size_t luma = LumaSize(call.width, call.height);
  uint8_t* block = session->Region(kFirstFrame);
  if (call.format == ZOLT_MF_FORMAT_I420) {
    CopyInThreads(block, call.src, luma + luma / 2);
  } else {
    CopyInThreads(block, call.src, luma);
    SplitChroma(call.src, block + luma, call.width, call.height, call.format);
  }
  session->images[0] = PlanarImage(block, call.width, call.height);
}

/// The frame as planes: the caller's own, but interleaved chroma is split into the block.
YuvImage DescribeInput(MfSession* session, const FrameCall& call) {
  // The pipeline only reads its input; the descriptor has no read-only form.
  YuvImage image = PlanarImage(const_cast<uint8_t*>(call.src), call.width, call.height);
  if (call.format != ZOLT_MF_FORMAT_I420) {
    image.u = session->Region(kChromaPlanes);
    image.v = image.u + LumaSize(call.width, call.height) / 4;
    SplitChroma(call.src, image.u, call.width, call.height, call.format);
  }
  return image;
}

/// The chroma of the planar image over the block's first frame or the result, in the caller's byte order.
uint8_t* InterleavedChroma(MfSession* session, const FrameCall& call, const uint8_t* planar) {
  uint8_t* pairs = session->Region(kChromaPlanes);
  MergeChroma(planar, pairs, call.width, call.height, call.format);
  return pairs;
}

int32_t LoseBurst(MfSession* session, const FrameCall& call, int32_t result) {
  const size_t luma = LumaSize(call.width, call.height);
  const uint8_t* first = session->Region(kFirstFrame);
  if (call.format == ZOLT_MF_FORMAT_I420) {
    std::memcpy(call.result, first, luma + luma / 2);
  } else {
    const uint8_t* pairs = InterleavedChroma(session, call, first);
    std::memcpy(call.result, first, luma);
    std::memcpy(call.result + luma, pairs, luma / 2);
  }
  session->storedError = result;
  return LogFrameTime(*session, call, result);
}

int32_t FinishBurst(MfSession* session, const FrameCall& call) {
  if (call.format != ZOLT_MF_FORMAT_I420) {
    const size_t luma = LumaSize(call.width, call.height);
    CopyInThreads(call.result + luma, InterleavedChroma(session, call, call.result), luma / 2);
  }
  LogFrameTime(*session, call, kOk);
  if (session->arenaBlock != nullptr) CurrentHooks().free(session->arenaBlock, kDenoisePool, 0);
  session->arenaBlock = nullptr;
  session->publicMem = nullptr;
  return kOk;
}

/// What refuses a later frame without touching the burst, but for the result of a lost one.
int32_t RefuseLaterFrame(const MfSession& session, const FrameCall& call) {
  if (session.publicMem == nullptr) {
    LogError("PublicMem Is Null!");
    return kLoadFailure;
  }
  if (session.storedError != 0) {
    if (call.tag == ZOLT_MF_TAG_LAST) {
      std::memmove(call.result, call.src, LumaSize(call.width, call.height) * 3 / 2);
    }
    return session.storedError;
  }
  if (call.width != session.width || call.height != session.height) {
    LogError("ImageSize Not Support");
    return kBadFrameSize;
  }
  if (session.planar() && call.format != ZOLT_MF_FORMAT_I420) {
    LogError("Image Format Not Support");
    return kBadArgument;
  }
  return kOk;
}

}  // namespace

int32_t TakeFirstFrame(MfSession* session, const FrameCall& call) {
  if (!PublicMemAlloc(session, call)) return kNoMemory;
  session->width = call.width;
  session->height = call.height;
  SelectParameters(session, call);
  StoreReference(session, call);
  session->burstState = 0;
  session->storedError = kOk;
  std::memset(session->Region(kWeightMap), 0, static_cast<size_t>(session->plan[kWeightMap].size));
  // A small frame whose smoothing block is refused leaves the map as it is, and the fold reads it all the
  // same.
  std::memset(session->Region(kGhostMap), 0, static_cast<size_t>(session->plan[kGhostMap].size));
  session->ghostCount = 0;
  session->IIRImgNum = 1;
  return LogFrameTime(*session, call, kOk);
}

int32_t TakeLaterFrame(MfSession* session, const FrameCall& call) {
  const int32_t refused = RefuseLaterFrame(*session, call);
  if (refused != kOk) return refused;
  session->images[1] = DescribeInput(session, call);
  // The first frame that reaches the pipeline counts as a first, whatever its tag.
  const int32_t tag = session->burstState == 0 ? ZOLT_MF_TAG_FIRST : call.tag;
  session->burstState = tag;
  session->frameTotal = call.total;
  const YuvImage output = PlanarImage(call.result, call.width, call.height);

  const int32_t result =
      session->parameters.noiseReductionOn == 0 ? kNoiseReductionOff : TwoFramesDeNoise(session, output);
  if (result != kOk) return LoseBurst(session, call, result);
  session->images[0] = output;
  session->burstState = 1;
  if (call.total == 2 || tag == ZOLT_MF_TAG_LAST) return FinishBurst(session, call);
  return LogFrameTime(*session, call, kOk);
}

}  // namespace zolt
