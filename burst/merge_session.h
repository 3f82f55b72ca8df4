#pragma once

#include <cstdint>
#include <memory>

#include "base/yuv_image.h"
#include "burst/alignment/alignment_motion.h"
#include "burst/memory/burst_memory.h"
#include "burst/work_geometry.h"
#include "config/configuration.h"
#include "session/placed_frame.h"

namespace zolt {

/// The engine's merge, filter and fusion over frames that are in their place already. Frames are blocks of a
/// work geometry's size: Y, U, V without padding. Each call returns a ZOLT_BURST_... result.
class MergeSession {
 public:
  explicit MergeSession(BurstMemory* memory) : memory_(memory) {}
  ~MergeSession();
  MergeSession(const MergeSession&) = delete;
  MergeSession& operator=(const MergeSession&) = delete;

  /// Begins a burst with its reference. `config` is copied.
  int32_t Start(const MfConfig& config, int32_t iso, const WorkGeometry& work, const uint8_t* reference);
  /// Merges a frame where `outside` (work size, or null) is 0, as the plain mean of all so far; at most
  /// kMostMerged - 1 times. `index` is the frame's in its burst, for the engine's observer.
  int32_t Fold(int32_t index, const uint8_t* frame, const uint8_t* outside, const Homography& motion);
  /// Ends the burst: filters the image.
  int32_t End();
  /// Ends the burst with a brighter frame, which is fused in; only after kFewestFused merged frames. Whether
  /// it shows the same scene tell the ghost thresholds of `config`: those for frames that are merged may be
  /// too low for a frame whose brightness had to be matched.
  int32_t Fuse(const MfConfig& config, int32_t index, const uint8_t* frame, const Homography& motion);

  static constexpr int kMostMerged = 10;
  static constexpr int kFewestFused = 4;

  bool running() const { return session_ != nullptr; }
  bool ended() const { return ended_; }
  /// Frames in the result so far, the reference included; frames that mostly moved are not.
  int32_t merged() const;
  /// The result, until the next Start.
  const YuvImage& result() const { return result_; }
  /// The reference as it was given, until the burst has ended.
  YuvImage first() const;
  /// Work size, 25 for each frame merged beyond the first; until the burst has ended.
  const uint8_t* weights() const;

 private:
  struct CloseSession {
    void operator()(MfSession* session) const;
  };
  int32_t Take(const uint8_t* frame, int32_t tag, int32_t total, const PlacedFrame* placed);

  BurstMemory* memory_;
  std::unique_ptr<MfSession, CloseSession> session_;
  WorkGeometry work_ = {};
  int32_t iso_ = 0;
  bool ended_ = false;
  uint8_t* result_block_ = nullptr;
  YuvImage result_ = {};
};

}  // namespace zolt
