#pragma once

#include <cstdint>

namespace zolt {

/// Saturation gains in Q7 (128 is 1) by chroma value, for levels 1 to 9. 128 outside 49..206 and at 127..129,
/// symmetric about 128. Made by scripts/make_boost_tables.py.
extern const int16_t kChromaBoostTables[9][256];

}  // namespace zolt
