#pragma once

#include <cstdint>

namespace zolt {

/// Edge strength by the Sobel operator: min(|gx| + |gy|, 255) with the 1-2-1 kernels, each at most 1020 in
/// magnitude: 16 bits. The outer frame (rows 0 and h - 1, columns 0 and w - 1) is 0. Planes of any size from
/// 1 x 1; pitches in bytes; the destination is another plane than the source.
void SobelMagnitude(const uint8_t* source, uint8_t* destination, int w, int h, int source_pitch,
                    int destination_pitch);

/// Rows first to last - 1 of that, to `destination` on, of the whole image that begins at `source`. For
/// workers that share an image by row ranges.
void SobelMagnitudeRows(const uint8_t* source, uint8_t* destination, int w, int h, int source_pitch,
                        int destination_pitch, int first, int last);

}  // namespace zolt
