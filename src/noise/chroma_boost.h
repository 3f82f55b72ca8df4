#pragma once

#include <cstdint>

namespace zolt {

/// Raises saturation by a gain table, in place, hue kept: both chroma values of a pixel are scaled about 128
/// by the one gain that the level's table has for the value farther from 128 (v if they tie), 128 +
/// (((value - 128) * gain + 64) >> 7), in 16 bits. Neutral and fully saturated colours stay. Whole blocks of
/// eight columns saturate to 0..255, the rest of a row keeps the low byte; the tables reach neither. Level 1
/// to 9; any other does nothing. Pitches are w.
void ChromaBoost(uint8_t* u, uint8_t* v, int w, int h, int32_t level);

}  // namespace zolt
