#include "burst/merge_session.h"

#include <algorithm>
#include <ctime>

#include "config/iso_selection.h"
#include "session/burst.h"
#include "session/mf_session.h"
#include "zolt_burst.h"

namespace zolt {
namespace {

int32_t MeaningOf(int32_t engine_result) {
  switch (engine_result) {
    case ZOLT_MF_OK:
      return ZOLT_BURST_OK;
    case ZOLT_MF_OFF:
      return ZOLT_BURST_BAD_TUNING;
    case ZOLT_MF_LOAD_FAILURE:
      return ZOLT_BURST_NO_THREADS;
    default:
      return ZOLT_BURST_NO_MEMORY;
  }
}

PlacedFrame Placed(int32_t index, const uint8_t* outside, const Homography& motion, uint8_t share) {
  PlacedFrame placed = {outside, {}, false, share, index};
  for (int i = 0; i < 8; ++i) placed.homography[i] = static_cast<float>(motion.h[i]);
  placed.homography[8] = 1;
  return placed;
}

}  // namespace

void MergeSession::CloseSession::operator()(MfSession* session) const {
  zolt_mfUnInitialize(session);
}

MergeSession::~MergeSession() {
  const EngineMemory engine(memory_);
  session_.reset();
  memory_->Give(result_block_);
}

int32_t MergeSession::Start(const MfConfig& config, int32_t iso, const WorkGeometry& work,
                            const uint8_t* reference) {
  const EngineMemory engine(memory_);
  session_.reset();
  memory_->Give(result_block_);
  result_block_ = static_cast<uint8_t*>(memory_->Take(static_cast<size_t>(work.block_size())));
  if (result_block_ == nullptr) return ZOLT_BURST_NO_MEMORY;
  result_ = PlanarImage(result_block_, work.work_width, work.work_height);
  MfSession* session = nullptr;
  const int32_t opened = OpenSession(config, &EngineMemory::Hooks(), &session);
  if (opened != ZOLT_MF_OK) return MeaningOf(opened);
  session_.reset(session);
  // Whether the last frame is fused is known when it comes.
  session_->config.ExposureFusionFlag = 0;
  work_ = work;
  iso_ = iso;
  ended_ = false;
  return Take(reference, ZOLT_MF_TAG_FIRST, kMostMerged, nullptr);
}

int32_t MergeSession::Take(const uint8_t* frame, int32_t tag, int32_t total, const PlacedFrame* placed) {
  const EngineMemory engine(memory_);
  const FrameCall call = {frame,   result_block_, work_.work_height,   work_.work_width,
                          tag,     total,         ZOLT_MF_FORMAT_I420, iso_,
                          nullptr, std::clock()};
  session_->placed = placed;
  const int32_t result =
      tag == ZOLT_MF_TAG_FIRST ? TakeFirstFrame(session_.get(), call) : TakeLaterFrame(session_.get(), call);
  session_->placed = nullptr;
  ended_ = tag == ZOLT_MF_TAG_LAST;
  return MeaningOf(result);
}

int32_t MergeSession::Fold(int32_t index, const uint8_t* frame, const uint8_t* outside,
                           const Homography& motion) {
  const int32_t so_far = merged();
  const auto share = static_cast<uint8_t>((256 * so_far + (so_far + 1) / 2) / (so_far + 1));
  const PlacedFrame placed = Placed(index, outside, motion, share);
  // Frames stay in the middle of a burst until its end is told, so that nobody has to know how many there
  // will be.
  return Take(frame, ZOLT_MF_TAG_MIDDLE, kMostMerged, &placed);
}

int32_t MergeSession::Fuse(const MfConfig& config, int32_t index, const uint8_t* frame,
                           const Homography& motion) {
  session_->eisMode = 1;
  session_->parameters.deghost = SelectIsoParameters(iso_, config).deghost;
  const PlacedFrame placed = Placed(index, nullptr, motion, 0);
  return Take(frame, ZOLT_MF_TAG_LAST, merged() + 1, &placed);
}

int32_t MergeSession::End() {
  PlacedFrame nothing = Placed(-1, nullptr, Homography::Identity(), 0);
  nothing.empty = true;
  // To the engine the second of two frames is the last, even when it is the first to reach it. The frame is
  // described, but not looked at.
  const int32_t total = std::max(2, merged());
  return Take(session_->Region(kFirstFrame), ZOLT_MF_TAG_LAST, session_->burstState == 0 ? 2 : total,
              &nothing);
}

int32_t MergeSession::merged() const {
  return session_ != nullptr ? session_->IIRImgNum : 0;
}

YuvImage MergeSession::first() const {
  return PlanarImage(session_->Region(kFirstFrame), work_.work_width, work_.work_height);
}

const uint8_t* MergeSession::weights() const {
  return session_->Region(kWeightMap);
}

}  // namespace zolt
