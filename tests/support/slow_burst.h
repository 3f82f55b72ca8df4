#pragma once

#include <cstdint>
#include <vector>

#include "config/iso_selection.h"
#include "support/test_planes.h"

namespace zolt::test {

/// Brightness of the scene, as registration measures it.
struct SceneLevels {
  uint8_t peak, luma;
};

/// What a burst of planar frames without exposure fusion leaves in the caller's buffer, with every frame used
/// as it comes (registration gave up): ghosts, fold, luma gain, padded copy, spatial stage and chroma repair
/// pixel by pixel on one thread. The result is planar.
std::vector<uint8_t> SlowBurst(const std::vector<Frame>& frames, const IsoParameters& parameters,
                               SceneLevels levels);

}  // namespace zolt::test
