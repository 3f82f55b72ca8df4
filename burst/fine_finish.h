#pragma once

#include "burst/merge_session.h"
#include "burst/picture/picture.h"
#include "burst/work_geometry.h"

namespace zolt {

/// The finish of fine mode: luma and chroma of a burst's merge by local spectra (spectral_finish.h) in place
/// of the engine's filter, coarse sizes first, as blotches are larger than a block. RGB pictures get chroma
/// of their own full size: the merge's, interpolated, with what the reference's full-size chroma has beyond
/// it.
class FineFinish {
 public:
  explicit FineFinish(std::pmr::memory_resource* memory)
      : memory_(memory), luma_(memory), u_(memory), v_(memory) {}

  /// False if luma's noise can't be told, and nothing is finished; that is so with fewer than two merged
  /// frames. `merge` must not have ended. std::bad_alloc.
  bool Finish(const MergeSession& merge, const WorkGeometry& work, const zolt_burst_picture& reference);

  PlaneView luma() const { return luma_.View(); }
  ChromaViews chroma() const { return {u_.View(), v_.View()}; }

 private:
  /// Planes of one size, without borders. `sizes` halvings are finished before.
  struct Kind;
  static const Kind kLuma, kChroma;
  bool FinishPlane(PlaneView reference, PlaneView merge, PlaneView weights, const Kind& kind, int sizes,
                   OwnedPlane* out);

  std::pmr::memory_resource* memory_;
  OwnedPlane luma_, u_, v_;
  int frames_ = 0;
};

}  // namespace zolt
