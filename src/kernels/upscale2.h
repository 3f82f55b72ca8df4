#pragma once

#include <cstdint>

namespace zolt {

/// Which of the first and the last output row are a true border of the image. A row that is none lies inside
/// and reads the source row beyond the rows given.
enum class UpscaleEdges { kBoth, kFirst, kNone, kLast };

/// Bilinear 1:2 in each direction, new samples at a quarter and three quarters between the old ones. Of
/// rows x w samples at pitch w it makes 2 * rows x 2 * w: inside, (9 a + 3 b + 3 c + d + 8) >> 4 with a the
/// nearest sample and d the one across; on the image's borders along the border only, (3 a + b + 2) >> 2; the
/// corners are the source's. The sum is at most 4088: 16 bits.
///
/// An image may be cut in stripes of source rows: the first done with kFirst, inner ones with kNone, the last
/// with kLast give the bytes of the whole image with kBoth. kNone and kLast read row -1 of `source`, kFirst
/// and kNone read row `rows`. rows and w from 1; destination_pitch >= 2 * w.
void Upscale2(const uint8_t* source, int rows, int w, uint8_t* destination, int destination_pitch,
              UpscaleEdges edges);

/// The output rows 2 * first to 2 * last - 1, to `destination` on, of a whole image of `rows` source rows
/// that begins at `source`. For workers that share an image by row ranges.
void Upscale2Rows(const uint8_t* source, int rows, int w, uint8_t* destination, int destination_pitch,
                  int first, int last);

}  // namespace zolt
