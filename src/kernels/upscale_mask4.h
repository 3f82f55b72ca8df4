#pragma once

#include <cstdint>

namespace zolt {

/// 4:1 bilinear upscale of a mask of `rows` x `columns` bytes (pitch `columns`) to 4 rows x 4 columns (pitch
/// 4 * columns). A sample's centre lies between output pixels 4 k + 1 and 4 k + 2, so between two samples the
/// weights are 7:1, 5:3, 3:5, 1:7 in each direction, out = (sum + 32) >> 6 with a sum of at most 16320: 16
/// bits. The rim two pixels wide is linear along the border alone, out(4 k + p) = ((4 - p) m(k) + p m(k + 1))
/// >> 2, the last sample repeating; in the corners the first and last rows win. rows and columns are 1 or
/// more.
void UpscaleMask4(const uint8_t* mask, int rows, int columns, uint8_t* map);

/// Rows first_row to first_row + row_count - 1 of what UpscaleMask4 writes, with `out` the first of them, for
/// callers that own only a part of the map.
void UpscaleMask4Rows(const uint8_t* mask, int rows, int columns, int first_row, int row_count, uint8_t* out);

}  // namespace zolt
