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

/// Map and count of what moved.
struct SlowMotion {
  std::vector<uint8_t> map;
  uint32_t count = 0;
};

/// Ghost detection over the whole frame, or over four bands that are images of their own.
SlowMotion SlowGhosts(const Frame& aligned, const Frame& first, const DeghostPara& thresholds, bool bands);

/// Folds a frame into a planar image. `out` may be `a`, whose overlapped columns then get two shares of `b`.
void SlowFold(const Frame& b, const std::vector<uint8_t>& map, int share, const std::vector<uint8_t>& a,
              std::vector<uint8_t>* out, std::vector<uint8_t>* weights);

/// What a burst of planar frames without exposure fusion leaves in the caller's buffer, with every frame used
/// as it comes (registration gave up): ghosts, fold, luma gain, padded copy, spatial stage and chroma repair
/// pixel by pixel on one thread. The result is planar.
std::vector<uint8_t> SlowBurst(const std::vector<Frame>& frames, const IsoParameters& parameters,
                               SceneLevels levels);

}  // namespace zolt::test
