#pragma once

#include <cstdint>

#include "registration/match_set.h"
#include "zolt_mfdenoise.h"

namespace zolt {

/// How long and how strictly RansacHomography searches.
struct RansacControl {
  int32_t maxIterations;
  float limit;       ///< largest squared distance in pixels of a pair that agrees with a model
  float confidence;  ///< of having seen a sample without a wrong pair; 0 to 1
};

inline constexpr RansacControl kCoarseControl = {100, 9.0f, 0.9995f};
inline constexpr RansacControl kFineControl = {100, 15.0f, 0.9995f};

/// Bytes of the buffer that RansacHomography wants for n pairs.
constexpr uint64_t RansacBufferSize(int32_t n) {
  return 176 * static_cast<uint64_t>(n) + 224;
}

/// Random sample consensus (Fischler and Bolles) with a least-squares refit of promising samples: the
/// homography from reference to current points that most pairs agree with. Compacts both lists to those pairs
/// and writes nine floats to `homography`; if no model has 5 pairs, the lists and `homography` stay and the
/// count becomes 4. Seeded anew at each call: equal input gives equal results. The refit takes its lists
/// through `hooks`; a refusal passes over that sample.
/// 0, or -1 with lists and count untouched when 100 draws in a row gave no usable sample.
int32_t RansacHomography(MatchSet* matches, float* homography, const RansacControl& control, uint8_t* buffer,
                         const MfAllocHooks& hooks);

}  // namespace zolt
