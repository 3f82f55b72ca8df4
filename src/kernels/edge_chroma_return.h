#pragma once

#include <cstdint>

namespace zolt {

/// Mixes low-pass chroma into the shrunk chroma along edges, in place: uo = (uo * weight + ul * (255 -
/// weight)
/// + 128) >> 8 in the bits that `mask` (0 or 255) sets, vo likewise from vl. The sum is at most 65153: 16
/// bits. The weights add up to 255, so weight 255 still takes 1 part in 256 from masked pixels. All pitches
/// are w >= 8; a width that is no multiple of 8 mixes twice in the columns where the last block overlaps.
void EdgeChromaReturn(const uint8_t* ul, const uint8_t* vl, uint8_t* uo, uint8_t* vo, const uint8_t* mask,
                      int w, int h, uint8_t weight);

}  // namespace zolt
