#pragma once

#include <cstdint>
#include <vector>

#include "ghost/difference_mask.h"

namespace zolt::test {

/// Square window of 2 * radius + 1 cut at the frame: 255 where any (dilation) or all (erosion) pixels are
/// nonzero.
std::vector<uint8_t> SlowMorphology(const std::vector<uint8_t>& mask, int w, int h, int radius, bool dilate);

/// DifferenceMask step by step over whole planes, each from its definition: boxes, difference, low-pass along
/// rows and along columns with the folded ends written out, comparison in 32 bits.
std::vector<uint8_t> SlowDifferenceMask(const PlanePair& planes, MaskScale scale,
                                        const DifferenceLimits& limits);

}  // namespace zolt::test
