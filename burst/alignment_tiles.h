#pragma once

#include <cstdint>
#include <vector>

#include "burst/alignment_motion.h"
#include "burst/pyramid.h"

namespace zolt {

inline constexpr int kTileSide = 8;
inline constexpr int kTilePixels = kTileSide * kTileSide;

/// What one tile of the reference says of itself, in Q5 levels; gradients are p(x + 1) - p(x - 1), twice the
/// slope, limited to +-4095 (half of white over two pixels).
struct TileTemplate {
  int32_t sum;                     ///< of the pixels
  int32_t square;                  ///< of (pixel - mean)^2 / 64, rounded
  int32_t gradient_x, gradient_y;  ///< sums
  float energy;                    ///< sum of the squared gradients
};

/// One level of a reference: gradients beside the grey values, and the tiles. Tiles cover the plane but for
/// less than a tile's side, which is left out in equal parts at both ends.
struct TemplateLevel {
  const GreyPlane* grey = nullptr;
  GreyPlane gradient_x, gradient_y;
  int left = 0, top = 0;      ///< first pixel of the first tile
  int columns = 0, rows = 0;  ///< tiles
  std::vector<TileTemplate> tiles;

  void Prepare(const GreyPlane* plane, int threads);
  int count() const { return columns * rows; }
};

/// What a frame shows in place of a tile. Sums over 64 pixels; r = frame - reference, limited to +-2047 (64
/// levels), so that every sum fits in 32 bits: 8160 * 2047 * 64 and 4095 * 8160 * 64 are below 2^31.
struct TileSums {
  int32_t valid;  ///< 0: the tile lies outside the frame, in part at least; the rest is 0
  int32_t x, y;   ///< gradient of the reference times r
  int32_t r, rr;  ///< r and its square
  int32_t rt;     ///< r times the reference
  int32_t xx, xy, yx,
      yy;  ///< reference's gradient times the frame's there: the first letter is the reference's
};

/// Compares the tiles of one tile row with the frame at `motion`, which counts in pixels of this level.
/// Within a tile each row of 8 pixels is read along a straight run of whole steps at its middle's place,
/// between pixels by bilinear weights of 1 / 2^14: what rotation moves within 8 pixels has mean 0. The
/// frame's gradients, only with `with_gradients`, come from the nearest pixels.
void CompareTileRow(const TemplateLevel& reference, const GreyPlane& frame, const Homography& motion, int row,
                    bool with_gradients, TileSums* sums);

}  // namespace zolt
