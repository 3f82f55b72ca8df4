#pragma once

#include "burst/noise/noise_measure.h"

namespace zolt {

/// The index (0 to 7) of the tuning's band for noise that was measured, when `frames` frames are merged: the
/// first whose limit is not below sigma (6 / frames)^(1/4) / texture^(1/5). The same noise asks for less
/// filtering where it hides in texture, and where more frames have averaged it. The limits were fitted on
/// bursts with known truth (docs/noise.md).
int BandOfNoise(const NoiseMeasure& noise, int frames);

}  // namespace zolt
