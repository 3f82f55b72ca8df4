#pragma once

#include <cstdint>

#include "noise/nr_stage_context.h"
#include "support/slow_planes.h"

namespace zolt::test {

/// The luma and the chroma of one stripe of a spatial stage.
struct SlowStripe {
  int first, height, top, bottom;
  int core() const { return height - top - bottom; }
};

inline int Shift(int frames) {
  return frames == 2 ? 5 : frames <= 4 ? 6 : frames <= 8 ? 7 : 8;
}

struct FilteredLuma {
  Plane core;  ///< core rows alone
  Plane edge;  ///< at a quarter of the stripe's size
};
FilteredLuma SlowFilterLuma(const Plane& luma, const SlowStripe& s, const NrParameters& nr, bool low_level);

/// What of the unfiltered luma comes back; `y` and `weights` at the first core row.
void SlowReturnByWeight(uint8_t* y, const Plane& f, const uint8_t* weights, const NrParameters& nr);
void SlowReturnAtEdges(uint8_t* y, const Plane& luma, const FilteredLuma& f, const SlowStripe& s,
                       const NrParameters& nr);

struct FilteredChroma {
  Plane u, v;  ///< half the size of the chroma planes
};
FilteredChroma SlowFilterChroma(const Plane& u_full, const Plane& v_full, const Plane& luma_edge,
                                const Plane& weights, const NrParameters& nr, bool low_level);
/// The stripe's core rows.
void SlowUpscale2(const Plane& s, const SlowStripe& stripe, uint8_t* out);

}  // namespace zolt::test
