#pragma once

#include <cstdint>

namespace zolt {

/// Tables of the edge-preserving recursive filter. A difference of two grey values in Q7 is looked up at
/// clamp((difference + 3856) >> 5, 0, 240): a quarter grey level an entry, centre 120, so that differences
/// past 30 grey levels pull no harder. Both tables are odd about the centre.
struct RecursiveTables {
  static constexpr int kEntries = 241;
  int16_t tableStep[kEntries];  ///< how far an output moves toward its filtered neighbour, Q7
  int16_t tableBack[kEntries];  ///< how much of the smoothing is taken back, Q7
};

/// Fills the tables. The pull at a difference of d grey levels is d (1 - d / 511)^E with E chosen for 1/4 at
/// d = p; p >= 0, and 0 as well as 511 and above switch the filter off (all entries 0). `back` / 8192 is
/// the share of a pull that is given back, 5000 to 8000.
void BuildRecursiveLut(RecursiveTables* tables, int32_t p, int32_t back);

/// What the tuning's keys become: `lumaLF` the strength p, -100 and below for off; `detail` the share that is
/// taken back, 5000 to 8000, rising as detail falls. Any 32-bit value.
int32_t LowBandStrength(int32_t lumaLF);
int32_t BackShare(int32_t detail);

/// First-order recursive smoothing, one causal pass (left to right, top to bottom) and one anticausal pass
/// over its result: a bilateral filter of unbounded reach for three look-ups a pixel. Each row runs its own
/// horizontal chain, started at the unfiltered first pixel; the vertical recursion goes on top of it.
/// Samples are plain grey values, the state is Q7; an output is the state with part of the pull taken back,
/// (look(back) + state + 63) >> 7. The very first pixel of a pass is not written.
///
/// `row_state` receives w words, the state of the pass's last row. Pitches in samples; source and
/// destination are the same rows or apart. w and h are at least 1.
void RecursiveForward(int32_t* row_state, const int16_t* horizontal, const int16_t* vertical,
                      const int16_t* back, const int16_t* source, int source_pitch, int16_t* destination,
                      int destination_pitch, int w, int h);
void RecursiveBackward(int32_t* row_state, const int16_t* horizontal, const int16_t* vertical,
                       const int16_t* back, const int16_t* source, int source_pitch, int16_t* destination,
                       int destination_pitch, int w, int h);

}  // namespace zolt
