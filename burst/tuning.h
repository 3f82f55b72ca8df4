#pragma once

#include <cstdint>

#include "config/configuration.h"

namespace zolt {

/// The tuning of a burst: of multiframe.xml in `folder` (with or without a slash at its end), of the built-in
/// file when `folder` is null. ZOLT_BURST_OK, _BAD_TUNING or _NO_MEMORY.
int32_t LoadTuning(const char* folder, MfConfig* config);

/// An ISO that selects the band of index 0 to 7.
int32_t IsoOfBand(const MfConfig& config, int band);

}  // namespace zolt
