#include "burst/alignment/alignment_tiles.h"

#include <algorithm>
#include <cstring>

#include "base/vector_clones.h"
#include "burst/alignment/alignment_stripes.h"

namespace zolt {
namespace {

constexpr int16_t kGradientLimit = 4095;
constexpr int16_t kResidualLimit = 2047;
constexpr int kFractionBits = 14;

/// Greys are 8160 at most: their difference fits in 16 bits, of which a vector holds twice as many as of 32.
inline int16_t Difference(int16_t a, int16_t b, int16_t limit) {
  const auto difference = static_cast<int16_t>(a - b);
  return std::clamp<int16_t>(difference, static_cast<int16_t>(-limit), limit);
}

/// A tile's row as one vector. Of plain loops over eight pixels, unrolled and read one further, GCC 12 makes
/// vectors of every other pixel.
typedef int16_t Row __attribute__((vector_size(2 * kTileSide)));
inline Row RowAt(const int16_t* p) {
  Row row;
  std::memcpy(&row, p, sizeof row);
  return row;
}
inline void Put(Row row, int16_t* p) {
  std::memcpy(p, &row, sizeof row);
}

/// A reference's tile and its gradients, row by row.
struct TilePixels {
  int16_t grey[kTilePixels], gradient_x[kTilePixels], gradient_y[kTilePixels];
};

/// The plane's edges repeat, so that a tile there has its gradients too.
void ReadPixels(const GreyPlane& plane, int x0, int y0, TilePixels* __restrict pixels) {
  for (int y = 0; y < kTileSide; ++y) {
    const int16_t* __restrict p = plane.Row(y0 + y) + x0;
    const int16_t* __restrict above = p - plane.pitch;
    const int16_t* __restrict below = p + plane.pitch;
    for (int x = 0; x < kTileSide; ++x) {
      const int i = y * kTileSide + x;
      pixels->grey[i] = p[x];
      pixels->gradient_x[i] = Difference(p[x + 1], p[x - 1], kGradientLimit);
      pixels->gradient_y[i] = Difference(below[x], above[x], kGradientLimit);
    }
  }
}

/// A tile with a pixel around it as the frame shows it; the last columns are only there to fill vectors.
constexpr int kShownPitch = 16;
constexpr int kShownRows = kTileSide + 2;

/// a + (b - a) * fraction; the difference times 4 and the fraction in Q14 are 16 bits each, of whose product
/// the upper half is kept.
inline int16_t Between(int16_t a, int16_t b, int16_t fraction) {
  const auto steps = static_cast<int16_t>((b - a) * 4);
  return static_cast<int16_t>(a + ((steps * fraction) >> 16));
}

inline int32_t Dot(const int16_t* __restrict a, const int16_t* __restrict b) {
  int32_t sum = 0;
  for (int i = 0; i < kTilePixels; ++i) sum += a[i] * b[i];
  return sum;
}

inline int32_t Sum(const int16_t* a) {
  int32_t sum = 0;
  for (int i = 0; i < kTilePixels; ++i) sum += a[i];
  return sum;
}

/// The affine map that `motion` is near a tile's middle.
struct TileMap {
  double x, y;          // of the first row's middle
  double row_x, row_y;  // step from row to row
};

TileMap MapNear(const Homography& motion, double x, double y) {
  const double* h = motion.h;
  const double w = 1 / ((h[6] * x + h[7] * y) + 1);
  const double to_x = ((h[0] * x + h[1] * y) + h[2]) * w, to_y = ((h[3] * x + h[4] * y) + h[5]) * w;
  TileMap map = {to_x, to_y, (h[1] - h[7] * to_x) * w, (h[4] - h[7] * to_y) * w};
  map.x -= map.row_x * (0.5 * (kTileSide - 1));
  map.y -= map.row_y * (0.5 * (kTileSide - 1));
  return map;
}

/// The tile lies inside the frame or at most a pixel outside, where its edges repeat; with the pixel around
/// it two.
bool Inside(const TileMap& map, const GreyPlane& frame) {
  constexpr double kHalf = 0.5 * (kTileSide - 1) + 1;
  const double before_x = map.x - map.row_x, behind_x = map.x + map.row_x * kTileSide;
  const double before_y = map.y - map.row_y, behind_y = map.y + map.row_y * kTileSide;
  static_assert(GreyPlane::kPad >= 3, "two pixels outside and the neighbour to interpolate with");
  return std::min(before_x, behind_x) - kHalf >= -2 &&
         std::max(before_x, behind_x) + kHalf < frame.width + 1 && std::min(before_y, behind_y) >= -2 &&
         std::max(before_y, behind_y) < frame.height + 1;
}

/// Up and down first and for all rows, then along them: what a loop has just written to memory the compiler
/// reads from there one place further; what it still holds in registers it would take apart for that.
void ReadTile(const GreyPlane& frame, const TileMap& map, int16_t* __restrict shown) {
  constexpr double kOne = 1 << kFractionBits;
  constexpr int kRead = kShownPitch + 8;
  // Counted from a corner of the pad no place is negative, and truncation rounds down.
  constexpr int kCorner = GreyPlane::kPad;
  const double first_x = map.x - (0.5 * (kTileSide - 1) + 1 - kCorner), first_y = map.y + kCorner;
  int16_t columns[kShownRows * kRead], fractions[kShownRows];
  for (int j = 0; j < kShownRows; ++j) {
    const double x = first_x + map.row_x * (j - 1), y = first_y + map.row_y * (j - 1);
    const auto whole_x = static_cast<int>(x), whole_y = static_cast<int>(y);
    const int16_t* __restrict upper = frame.Row(whole_y - kCorner) + (whole_x - kCorner);
    const int16_t* __restrict lower = upper + frame.pitch;
    const auto fraction = static_cast<int16_t>((y - whole_y) * kOne);
    fractions[j] = static_cast<int16_t>((x - whole_x) * kOne);
    for (int i = 0; i < kRead; ++i) columns[j * kRead + i] = Between(upper[i], lower[i], fraction);
  }
  for (int j = 0; j < kShownRows; ++j) {
    const int16_t* __restrict column = columns + j * kRead;
    for (int i = 0; i < kShownPitch; ++i)
      shown[j * kShownPitch + i] = Between(column[i], column[i + 1], fractions[j]);
  }
}

void DescribeTile(const TilePixels& pixels, TileTemplate* tile) {
  tile->sum = Sum(pixels.grey);
  tile->sum_x = Sum(pixels.gradient_x);
  tile->sum_y = Sum(pixels.gradient_y);
  // 64 * 8160^2 takes all 32 bits.
  uint32_t squares = 0;
  for (const int16_t v : pixels.grey) squares += static_cast<uint32_t>(v * v);
  const int64_t square = squares - static_cast<int64_t>(tile->sum) * tile->sum / kTilePixels;
  tile->variance = static_cast<int32_t>((square + kTilePixels / 2) / kTilePixels);
  tile->energy = static_cast<float>(static_cast<int64_t>(Dot(pixels.gradient_x, pixels.gradient_x)) +
                                    Dot(pixels.gradient_y, pixels.gradient_y));
}

void CompareTile(const TilePixels& tile, const int16_t* __restrict shown, TileSums* sums) {
  int16_t rest[kTilePixels], along[kTilePixels], across[kTilePixels], both_x[kTilePixels],
      both_y[kTilePixels];
  for (int j = 0; j < kTileSide; ++j) {
    const int16_t* s = shown + (j + 1) * kShownPitch + 1;
    const int k = j * kTileSide;
    const Row difference = RowAt(s) - RowAt(tile.grey + k);
    const Row limited = difference > kResidualLimit ? Row{} + kResidualLimit : difference;
    Put(limited < -kResidualLimit ? Row{} - kResidualLimit : limited, rest + k);
    Put(RowAt(s + 1) - RowAt(s - 1), along + k);
    Put(RowAt(s + kShownPitch) - RowAt(s - kShownPitch), across + k);
  }
  for (int k = 0; k < kTilePixels; ++k) {
    both_x[k] = static_cast<int16_t>(tile.gradient_x[k] + along[k]);
    both_y[k] = static_cast<int16_t>(tile.gradient_y[k] + across[k]);
  }
  sums->valid = 1;
  sums->x = Dot(both_x, rest);
  sums->y = Dot(both_y, rest);
  sums->gradient_x = Sum(both_x);
  sums->gradient_y = Sum(both_y);
  sums->r = Sum(rest);
  sums->rr = Dot(rest, rest);
  sums->rt = Dot(rest, tile.grey);
  sums->xx = Dot(tile.gradient_x, along);
  sums->xy = Dot(tile.gradient_x, across);
  sums->yx = Dot(tile.gradient_y, along);
  sums->yy = Dot(tile.gradient_y, across);
}

ZOLT_VECTOR_CLONES void DescribeTileRow(const TemplateLevel& level, int row, TileTemplate* tiles) {
  TilePixels pixels;
  for (int c = 0; c < level.columns; ++c) {
    ReadPixels(*level.plane, level.left + c * kTileSide, level.top + row * kTileSide, &pixels);
    DescribeTile(pixels, &tiles[c]);
  }
}

}  // namespace

void TemplateLevel::Prepare(const GreyPlane& of, int threads) {
  plane = &of;
  width = of.width;
  height = of.height;
  columns = width / kTileSide;
  rows = height / kTileSide;
  left = (width - columns * kTileSide) / 2;
  top = (height - rows * kTileSide) / 2;
  tiles.resize(static_cast<size_t>(count()));
  RunStripes(count() > 4000 ? threads : 1, rows,
             [&](int row) { DescribeTileRow(*this, row, &tiles[static_cast<size_t>(row) * columns]); });
}

TileSums AboutMeans(const TileTemplate& tile, const TileSums& sums) {
  const auto less = [](int32_t sum, int32_t a, int32_t b) {
    return static_cast<int32_t>(sum - static_cast<int64_t>(a) * b / kTilePixels);
  };
  const int32_t frame_x = sums.gradient_x - tile.sum_x, frame_y = sums.gradient_y - tile.sum_y;
  TileSums about = sums;
  about.x = less(sums.x, sums.gradient_x, sums.r);
  about.y = less(sums.y, sums.gradient_y, sums.r);
  about.gradient_x = about.gradient_y = about.r = 0;
  about.rr = less(sums.rr, sums.r, sums.r);
  about.rt = less(sums.rt, sums.r, tile.sum);
  about.xx = less(sums.xx, tile.sum_x, frame_x);
  about.xy = less(sums.xy, tile.sum_x, frame_y);
  about.yx = less(sums.yx, tile.sum_y, frame_x);
  about.yy = less(sums.yy, tile.sum_y, frame_y);
  return about;
}

ZOLT_VECTOR_CLONES void CompareTileRow(const TemplateLevel& reference, const GreyPlane& frame,
                                       const Homography& motion, int row, TileSums* sums) {
  constexpr double kMiddle = 0.5 * (kTileSide - 1);
  int16_t shown[kShownRows * kShownPitch];
  TilePixels pixels;
  for (int c = 0; c < reference.columns; ++c) {
    const int x = reference.left + c * kTileSide, y = reference.top + row * kTileSide;
    sums[c] = {};
    const TileMap map = MapNear(motion, x + kMiddle, y + kMiddle);
    if (!Inside(map, frame)) continue;
    ReadTile(frame, map, shown);
    ReadPixels(*reference.plane, x, y, &pixels);
    CompareTile(pixels, shown, &sums[c]);
  }
}

}  // namespace zolt
