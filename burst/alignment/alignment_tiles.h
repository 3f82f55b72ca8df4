#pragma once

#include <cstdint>

#include "burst/alignment/alignment_motion.h"
#include "burst/alignment/pyramid.h"
#include "burst/memory/layer_vector.h"

namespace zolt {

inline constexpr int kTileSide = 8;
inline constexpr int kTilePixels = kTileSide * kTileSide;

/// What is summed once of a reference's tile, in Q5 levels. Gradients are p(x + 1) - p(x - 1), twice the
/// slope, limited to +-4095 (half of white over two pixels). The pixels themselves are read from the plane
/// each time: kept beside their gradients they are three times the memory, and reading that took longer than
/// subtracting.
struct TileTemplate {
  int32_t sum;           ///< of the grey values
  int32_t sum_x, sum_y;  ///< of the gradients
  int32_t variance;      ///< the grey values' mean squared distance from the mean, rounded
  float energy;          ///< sum of the squared gradients
};

/// One level of a reference, cut in tiles. They cover the plane but for less than a tile's side, which is
/// left out in equal parts at both ends.
struct TemplateLevel {
  const GreyPlane* plane = nullptr;  ///< somebody else's
  int width = 0, height = 0;         ///< of the plane
  int left = 0, top = 0;             ///< first pixel of the first tile
  int columns = 0, rows = 0;         ///< tiles
  LayerVector<TileTemplate> tiles;

  /// `of` has to stay.
  void Prepare(const GreyPlane& of, int threads);
  int count() const { return columns * rows; }
};

/// What a frame shows in place of a tile. Sums over 64 pixels; r = frame - reference, limited to +-2047 (64
/// levels), so that every sum fits in 32 bits: 12255 * 2047 * 64, 8160 * 2047 * 64 and 4095 * 8160 * 64 are
/// below 2^31.
struct TileSums {
  int32_t valid;                   ///< 0: the tile lies outside the frame, in part at least; the rest is 0
  int32_t x, y;                    ///< both pictures' gradients, added, times r
  int32_t gradient_x, gradient_y;  ///< both pictures' gradients, added
  int32_t r, rr;                   ///< r and its square
  int32_t rt;                      ///< r times the reference
  int32_t xx, xy, yx, yy;  ///< reference's gradient times the frame's: the first letter is the reference's
};

/// The sums as they would be if the frame's tile had the reference's mean: what tells motion still where
/// another exposure left objects of different colours differently bright.
TileSums AboutMeans(const TileTemplate& tile, const TileSums& sums);

/// Compares the tiles of one row of tiles with the frame at `motion`, which counts in pixels of this level.
/// Within a tile each row of pixels is read along a straight run of whole steps through its middle's place,
/// between pixels by bilinear weights of 1 / 2^14: what rotation moves within 8 pixels has mean 0.
void CompareTileRow(const TemplateLevel& reference, const GreyPlane& frame, const Homography& motion, int row,
                    TileSums* sums);

}  // namespace zolt
