#pragma once

#include <cstdint>

#include "config/configuration.h"

namespace zolt {

/// The files that are built in, each for a burst's way. All have the same bands.
enum class TuningKind {
  kFused,  ///< any mode, a brighter last frame is fused: ghost thresholds that parallax and light pass
  kPlain,  ///< fast mode, frames are only merged
  kFine,   ///< fine mode, which uses the ghost thresholds alone; the rest is as in kPlain
};

/// The tuning of multiframe.xml in `folder` (with or without a slash at its end), of the built-in file of
/// `kind` when `folder` is null. ZOLT_BURST_OK, _BAD_TUNING or _NO_MEMORY.
int32_t LoadTuning(const char* folder, TuningKind kind, MfConfig* config);

/// What the layer chooses from when it knows a burst's way; a file that is named serves all of them.
struct Tunings {
  MfConfig fused, plain, fine;

  const MfConfig& Of(TuningKind kind) const;
};

int32_t LoadTunings(const char* folder, Tunings* tunings);

/// `mode` is ZOLT_BURST_FAST or _FINE; a fused burst is finished as in fast mode whatever was asked for.
TuningKind KindOf(int32_t mode, bool fused);

/// An ISO that selects the band of index 0 to 7.
int32_t IsoOfBand(const MfConfig& config, int band);

}  // namespace zolt
