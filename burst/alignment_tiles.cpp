#include "burst/alignment_tiles.h"

#include <algorithm>
#include <cmath>

#include "burst/alignment_stripes.h"

namespace zolt {
namespace {

constexpr int kGradientLimit = 4095;
constexpr int kResidualLimit = 2047;
constexpr int kFractionBits = 14;

void GradientRow(const int16_t* __restrict above, const int16_t* __restrict row,
                 const int16_t* __restrict below, int16_t* __restrict gx, int16_t* __restrict gy, int n) {
  const auto limited = [](int v) {
    return static_cast<int16_t>(v < -kGradientLimit  ? -kGradientLimit
                                : v > kGradientLimit ? kGradientLimit
                                                     : v);
  };
  for (int x = 1; x < n - 1; ++x) gx[x] = limited(row[x + 1] - row[x - 1]);
  gx[0] = gx[n - 1] = 0;
  for (int x = 0; x < n; ++x) gy[x] = limited(below[x] - above[x]);
}

TileTemplate DescribeTile(const TemplateLevel& level, int x0, int y0) {
  TileTemplate tile = {};
  int64_t square = 0, energy = 0;
  for (int y = y0; y < y0 + kTileSide; ++y) {
    const int16_t* p = level.grey->Row(y) + x0;
    const int16_t* gx = level.gradient_x.Row(y) + x0;
    const int16_t* gy = level.gradient_y.Row(y) + x0;
    for (int x = 0; x < kTileSide; ++x) {
      tile.sum += p[x];
      square += p[x] * p[x];
      tile.gradient_x += gx[x];
      tile.gradient_y += gy[x];
      energy += gx[x] * gx[x] + gy[x] * gy[x];
    }
  }
  square -= static_cast<int64_t>(tile.sum) * tile.sum / kTilePixels;
  tile.square = static_cast<int32_t>((square + kTilePixels / 2) / kTilePixels);
  tile.energy = static_cast<float>(energy);
  return tile;
}

/// Where a run of 8 pixels starts in the frame, and how far between pixels.
struct Run {
  const int16_t* upper;
  const int16_t* lower;
  int fraction_x, fraction_y;  // Q14
};

/// a + (b - a) * fraction; the difference times 4 and the fraction are 16 bits each, of whose product the
/// upper half is kept.
inline int Between(int a, int b, int16_t fraction) {
  const auto steps = static_cast<int16_t>((b - a) * 4);
  return a + ((steps * fraction) >> 16);
}

inline void ReadRun(const Run& run, int16_t* __restrict out) {
  int16_t column[kTileSide + 1];
  const int16_t* __restrict upper = run.upper;
  const int16_t* __restrict lower = run.lower;
  const auto fy = static_cast<int16_t>(run.fraction_y), fx = static_cast<int16_t>(run.fraction_x);
  for (int i = 0; i < kTileSide; ++i) column[i] = static_cast<int16_t>(Between(upper[i], lower[i], fy));
  column[kTileSide] = static_cast<int16_t>(Between(upper[kTileSide], lower[kTileSide], fy));
  for (int i = 0; i < kTileSide; ++i) out[i] = static_cast<int16_t>(Between(column[i], column[i + 1], fx));
}

inline int32_t Dot(const int16_t* __restrict a, const int16_t* __restrict b) {
  int32_t sum = 0;
  for (int i = 0; i < kTileSide; ++i) sum += a[i] * b[i];
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

/// All runs of the tile lie inside the frame or at most a pixel outside, where its edges repeat.
bool Inside(const TileMap& map, const GreyPlane& frame) {
  constexpr double kHalf = 0.5 * (kTileSide - 1);
  const double last_x = map.x + map.row_x * (kTileSide - 1), last_y = map.y + map.row_y * (kTileSide - 1);
  return std::min(map.x, last_x) - kHalf >= -1 && std::max(map.x, last_x) + kHalf < frame.width &&
         std::min(map.y, last_y) >= -1 && std::max(map.y, last_y) < frame.height;
}

void AddFrameGradients(const int16_t* gx, const int16_t* gy, const int16_t* near, ptrdiff_t pitch,
                       TileSums* sums) {
  int16_t along[kTileSide], across[kTileSide];
  for (int i = 0; i < kTileSide; ++i) {
    along[i] = static_cast<int16_t>(near[i + 1] - near[i - 1]);
    across[i] = static_cast<int16_t>(near[i + pitch] - near[i - pitch]);
  }
  sums->xx += Dot(gx, along);
  sums->xy += Dot(gx, across);
  sums->yx += Dot(gy, along);
  sums->yy += Dot(gy, across);
}

TileSums CompareTile(const TemplateLevel& reference, const GreyPlane& frame, const TileMap& map, int x0,
                     int y0, bool with_gradients) {
  TileSums sums = {};
  if (!Inside(map, frame)) return sums;
  sums.valid = 1;
  for (int j = 0; j < kTileSide; ++j) {
    // Counted from the pad's corner neither is negative, and truncation rounds down.
    const double x = map.x + map.row_x * j + (1 - 0.5 * (kTileSide - 1)), y = map.y + map.row_y * j + 1;
    const auto whole_x = static_cast<int>(x), whole_y = static_cast<int>(y);
    constexpr double kOne = 1 << kFractionBits;
    const auto fraction_x = static_cast<int>((x - whole_x) * kOne),
               fraction_y = static_cast<int>((y - whole_y) * kOne);
    const int16_t* source = frame.Row(whole_y - 1) + (whole_x - 1);
    int16_t shown[kTileSide], rest[kTileSide];
    ReadRun({source, source + frame.pitch, fraction_x, fraction_y}, shown);
    const int16_t* __restrict p = reference.grey->Row(y0 + j) + x0;
    for (int i = 0; i < kTileSide; ++i) {
      const int r = shown[i] - p[i];
      rest[i] = static_cast<int16_t>(r < -kResidualLimit  ? -kResidualLimit
                                     : r > kResidualLimit ? kResidualLimit
                                                          : r);
      sums.r += rest[i];
    }
    const int16_t* gx = reference.gradient_x.Row(y0 + j) + x0;
    const int16_t* gy = reference.gradient_y.Row(y0 + j) + x0;
    sums.x += Dot(gx, rest);
    sums.y += Dot(gy, rest);
    sums.rr += Dot(rest, rest);
    sums.rt += Dot(rest, p);
    if (with_gradients) {
      const int16_t* near =
          source + (fraction_y >> (kFractionBits - 1)) * frame.pitch + (fraction_x >> (kFractionBits - 1));
      AddFrameGradients(gx, gy, near, frame.pitch, &sums);
    }
  }
  return sums;
}

}  // namespace

void TemplateLevel::Prepare(const GreyPlane* plane, int threads) {
  grey = plane;
  const int w = plane->width, h = plane->height;
  gradient_x.Resize(w, h);
  gradient_y.Resize(w, h);
  columns = w / kTileSide;
  rows = h / kTileSide;
  left = (w - columns * kTileSide) / 2;
  top = (h - rows * kTileSide) / 2;
  tiles.resize(static_cast<size_t>(count()));
  RunStripes(threads, rows, [&](int r) {
    const int first = r == 0 ? 0 : top + r * kTileSide, end = r == rows - 1 ? h : top + (r + 1) * kTileSide;
    for (int y = first; y < end; ++y) {
      const bool edge = y == 0 || y == h - 1;  // no slope across the rows there
      GradientRow(plane->Row(edge ? y : y - 1), plane->Row(y), plane->Row(edge ? y : y + 1),
                  gradient_x.Row(y), gradient_y.Row(y), w);
    }
    for (int c = 0; c < columns; ++c) {
      tiles[static_cast<size_t>(r) * columns + c] =
          DescribeTile(*this, left + c * kTileSide, top + r * kTileSide);
    }
  });
}

void CompareTileRow(const TemplateLevel& reference, const GreyPlane& frame, const Homography& motion, int row,
                    bool with_gradients, TileSums* sums) {
  constexpr double kMiddle = 0.5 * (kTileSide - 1);
  const int y0 = reference.top + row * kTileSide;
  for (int c = 0; c < reference.columns; ++c) {
    const int x0 = reference.left + c * kTileSide;
    sums[c] =
        CompareTile(reference, frame, MapNear(motion, x0 + kMiddle, y0 + kMiddle), x0, y0, with_gradients);
  }
}

}  // namespace zolt
