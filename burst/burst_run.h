#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "burst/alignment/alignment.h"
#include "burst/memory/burst_memory.h"
#include "burst/merge_session.h"
#include "burst/noise/noise_follower.h"
#include "burst/noise/noise_measure.h"
#include "burst/picture/picture.h"
#include "burst/placed_planes.h"
#include "burst/tuning.h"
#include "burst/work_geometry.h"
#include "zolt_burst.h"

namespace zolt {

/// For a mode that was asked for: what the engine's filter leaves hides a hundredth of a pixel.
inline AlignmentCare CareFor(int32_t mode) {
  return mode == ZOLT_BURST_FINE ? AlignmentCare::kThorough : AlignmentCare::kQuick;
}

/// What is known of one frame of a burst; `told.use` starts as ZOLT_BURST_USED.
struct FrameState {
  zolt_burst_frame_report told = {};
  Alignment alignment;
  double energy = 0;  ///< GradientEnergy
  double level = 0;   ///< MeanLevel
  bool inspected = false;
};

/// What a stream knows of a frame before the burst that it is in.
struct KnownFrame {
  const AlignmentReference* features;
  double energy;               ///< GradientEnergy
  double level;                ///< MeanLevel
  const Alignment* alignment;  ///< to the burst's reference; null: not known yet
};

/// Ends a burst early, with a ZOLT_BURST_... result.
struct BurstStopped {
  int32_t result;
};

/// One burst on its way: the steps in the order in which they are called. Memory that is refused is
/// std::bad_alloc, any other failure BurstStopped. Under the layer's lock.
class BurstRun {
 public:
  /// `tunings` must outlive this.
  BurstRun(const zolt_burst_options& options, const Tunings& tunings, BurstMemory* memory);

  /// The whole burst from pictures that stay until the result is written.
  void Run(const zolt_burst_picture* const* frames, int count, const zolt_burst_picture& output);

  /// The same from frames of which something is known, with the same result for the same band: `follower`
  /// chooses that from the noise, unless the options name an ISO. One entry of `known` for each frame.
  void Run(const zolt_burst_picture* const* frames, int count, const KnownFrame* known,
           NoiseFollower* follower, const zolt_burst_picture& output);

  /// Its first half, for who merges the frames itself: aligns them and settles which take part.
  void Choose(const zolt_burst_picture* const* frames, int count);

  /// The same in steps, for a burst whose first frame is the reference and whose length is known: each frame
  /// is merged when it comes.
  void Begin(const zolt_burst_picture& reference);
  void Add(const zolt_burst_picture& reference, const zolt_burst_picture& frame);
  void End(const zolt_burst_picture& reference, const zolt_burst_picture& output);

  /// The noise of frames alone, for the report.
  void MeasureAlone(const zolt_burst_picture* const* frames, int count);

  const zolt_burst_report& report() const { return report_; }
  const std::vector<FrameState>& frames() const { return frames_; }

 private:
  using Clock = std::chrono::steady_clock;

  void Inspect(const zolt_burst_picture& frame, FrameState* state);
  int PickReference(const zolt_burst_picture* const* frames, int count);
  void TakeReference(const zolt_burst_picture& frame);
  void MeasureNoise(const zolt_burst_picture* const* frames, int count);
  void ChooseBand(const zolt_burst_picture* const* frames, int count, int frames_merged);
  void AlignAll(const zolt_burst_picture* const* frames, int count);
  void AlignEach(const zolt_burst_picture* const* frames, FrameState* const* states, int count);
  void TakeAlignment(const Alignment& found, FrameState* state);
  const KnownFrame* KnownOf(const FrameState& state) const;
  void Judge(bool last, FrameState* state) const;
  void KeepTheBest();
  void StartOfKnownLength(const zolt_burst_picture* const* frames, int count);
  void StartMerge();
  void Merge(const zolt_burst_picture& frame, FrameState* state);
  void Finish(const zolt_burst_picture& output, const zolt_burst_picture& reference);
  void WriteResult(const zolt_burst_picture& output, const zolt_burst_picture& reference);
  void Progress(double done);
  static void Check(int32_t result);

  const zolt_burst_options& options_;
  const Tunings& tunings_;
  BurstMemory* memory_;
  WorkGeometry work_ = {};
  zolt_burst_report report_ = {};
  std::vector<FrameState> frames_;
  NoiseMeasure noise_;
  int measured_from_ = 0;  ///< frames that told noise_
  const KnownFrame* known_ = nullptr;
  NoiseFollower* follower_ = nullptr;
  std::unique_ptr<AlignmentReference> own_reference_;
  const AlignmentReference* reference_ = nullptr;
  std::unique_ptr<MergeSession> merge_;
  std::unique_ptr<PlacedPlanes> placed_;
  Clock::time_point started_;
  double done_ = 0;  ///< told to the progress callback, which never sees it fall
};

}  // namespace zolt
