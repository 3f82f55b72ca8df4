#pragma once

#include <array>
#include <cstdint>

#include "fusion/exposure_fusion.h"

namespace zolt {

/// Fills fusion->bandThreshold from bandLevels, fusion_low and fusion_high: the low band's word, then three
/// per level, the coarsest first. At most six coarse levels have words, and words beyond the record's end are
/// dropped, so all of it is kept for up to six levels.
void FillBandThresholds(FusionPara* fusion);

/// The three thresholds of a level, 0 the coarsest: high-pass along columns, along rows, along both. 0 (the
/// prepared band stays) for those that the record has no word for.
std::array<int32_t, 3> LevelThresholds(const FusionPara& fusion, int level);

}  // namespace zolt
