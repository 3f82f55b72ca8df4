#pragma once

#include <cstdint>
#include <vector>

#include "burst/alignment/alignment_motion.h"
#include "burst/memory/burst_memory.h"
#include "burst/merge_session.h"
#include "burst/work_geometry.h"
#include "config/configuration.h"
#include "media/picture.h"
#include "session/debug_observer.h"
#include "tune/tune_burst.h"

namespace zolt {

/// One burst through the library under one tuning after another. Its frames are aligned once; the merged
/// image is kept, so that a tuning that differs in its spatial keys alone costs no more than the filter. One
/// thread of a process at a time.
class TunePipeline {
 public:
  /// `burst` outlives this. Where its noise is to be measured, `config` tells the bands. LibraryRefused.
  TunePipeline(const TuneBurst& burst, const MfConfig& config);
  TunePipeline(const TunePipeline&) = delete;
  TunePipeline& operator=(const TunePipeline&) = delete;

  /// The burst's, or what its measured noise amounts to.
  int iso() const { return iso_; }

  /// The frames folded together, before any spatial filter; not for a fused burst. LibraryRefused.
  YuvPicture Merged(const MfConfig& config);
  /// What zolt_burst_denoise gives for the burst with this tuning and ISO and reference 0, byte for byte.
  /// LibraryRefused.
  YuvPicture Finished(const MfConfig& config);
  /// The same of fine mode; of a fused burst, or where the noise can't be told, it is Finished().
  YuvPicture Fine(const MfConfig& config);

 private:
  /// A frame that takes part, in its place.
  struct Placed {
    int index;
    bool fuse;
    Homography motion;
    std::vector<uint8_t> block, outside;
  };
  struct Kept {
    std::vector<uint8_t> image;    // planar, merged
    std::vector<uint8_t> weights;  // frames folded per pixel
    int folded = 0;
    uint8_t peak_level = 0;
    uint8_t luma_level = 0;
  };

  static void Hear(void* user, const FrameObservation& seen);
  void PlaceFrames(const MfConfig& config);
  void Check(int32_t result) const;
  void FoldAll(const MfConfig& config);
  void RunAll(const MfConfig& config);
  void MergeUnder(const MfConfig& config);
  void Filter(const MfConfig& config, std::vector<uint8_t>* image);
  YuvPicture PictureOf(std::vector<uint8_t>* image) const;

  const TuneBurst& burst_;
  const WorkGeometry work_;
  int iso_ = 0;
  std::vector<uint8_t> reference_;  // as the merge takes it
  std::vector<Placed> placed_;
  BurstMemory memory_;
  MergeSession merge_;
  std::vector<int32_t> merged_under_;  // the keys that decided what is kept; empty: nothing is
  Kept kept_;
  std::vector<uint8_t> scratch_;
};

}  // namespace zolt
