#include "burst/noise/noise_blocks.h"

#include <algorithm>
#include <cmath>

#include "base/vector_clones.h"

namespace zolt {
namespace {

constexpr int kDark = 4, kBright = 251;
constexpr int kMostClipped = kNoiseBlock * kNoiseBlock / 50;

/// Energy of n x n values less their fitted plane. `step` is the sum of the squares of a coordinate that
/// counts
/// -(n - 1), -(n - 3), ..., n - 1 over the block.
struct PlaneFit {
  int64_t sum = 0, along = 0, down = 0, squares = 0;

  double Left(int n) const {
    const double count = n * n, step = count * (count - 1) / 3;
    const auto share = [](int64_t s, double of) {
      return static_cast<double>(s) * static_cast<double>(s) / of;
    };
    return std::max(
        0.0, ((static_cast<double>(squares) - share(sum, count)) - share(along, step)) - share(down, step));
  }
};

template <int n>
PlaneFit Fit(const int16_t* values) {
  PlaneFit fit;
  for (int y = 0; y < n; ++y) {
    int32_t row = 0, along = 0, squares = 0;
    for (int x = 0; x < n; ++x) {
      const int32_t v = values[y * n + x];
      row += v;
      along += v * (2 * x - (n - 1));
      squares += v * v;
    }
    fit.sum += row;
    fit.along += along;
    fit.down += row * (2 * y - (n - 1));
    fit.squares += squares;
  }
  return fit;
}

struct Block {
  int16_t difference[kNoiseBlock * kNoiseBlock];
  int16_t sum[kNoiseBlock * kNoiseBlock];
  int clipped = 0;
};

inline bool Clipped(uint8_t v) {
  return v < kDark || v > kBright;
}

Block Load(const uint8_t* a, ptrdiff_t a_pitch, const uint8_t* b, ptrdiff_t b_pitch) {
  Block block;
  for (int y = 0; y < kNoiseBlock; ++y) {
    for (int x = 0; x < kNoiseBlock; ++x) {
      const uint8_t p = a[y * a_pitch + x], q = b[y * b_pitch + x];
      block.difference[y * kNoiseBlock + x] = static_cast<int16_t>(p - q);
      block.sum[y * kNoiseBlock + x] = static_cast<int16_t>(p + q);
      block.clipped += Clipped(p) || Clipped(q) ? 1 : 0;
    }
  }
  return block;
}

constexpr int kHalf = kNoiseBlock / 2;
constexpr int kFree = kNoiseBlock * kNoiseBlock - 3, kFreeHalf = kHalf * kHalf - 3;

void Reduce(const int16_t* values, int16_t* sums) {
  for (int y = 0; y < kHalf; ++y) {
    for (int x = 0; x < kHalf; ++x) {
      const int16_t* at = values + 2 * y * kNoiseBlock + 2 * x;
      sums[y * kHalf + x] = static_cast<int16_t>(at[0] + at[1] + at[kNoiseBlock] + at[kNoiseBlock + 1]);
    }
  }
}

/// Calls take(x, y) for a regular sample of the places of whole blocks.
template <typename TakeBlock>
void ForPlaces(PlaneView plane, int limit, const TakeBlock& take) {
  const int columns = plane.width / kNoiseBlock, rows = plane.height / kNoiseBlock;
  const int64_t all = int64_t{columns} * rows;
  const int64_t step = (all + limit - 1) / limit;
  // A step that shares a divisor with the row length would take the same columns in every row.
  for (int64_t i = 0; i < all; i += step) {
    const auto row = static_cast<int>(i / columns);
    const auto column = static_cast<int>((i + row) % columns);
    take(column * kNoiseBlock, row * kNoiseBlock);
  }
}

/// False if too much is clipped.
ZOLT_VECTOR_CLONES bool CompareBlock(const uint8_t* a, ptrdiff_t a_pitch, const uint8_t* b, ptrdiff_t b_pitch,
                                     bool unclipped, BlockNoise* noise) {
  const Block block = Load(a, a_pitch, b, b_pitch);
  if (unclipped && block.clipped > kMostClipped) return false;
  int16_t half[kHalf * kHalf];
  Reduce(block.difference, half);
  const PlaneFit sum = Fit<kNoiseBlock>(block.sum);
  // The difference of two frames has twice the variance of one; sums of 2 have 4 times that of the mean, of 4
  // pixels 16 times.
  *noise = {static_cast<float>(Fit<kNoiseBlock>(block.difference).Left(kNoiseBlock) / 2 / kFree),
            static_cast<float>(Fit<kHalf>(half).Left(kHalf) / 16 / 2 / kFreeHalf),
            static_cast<float>(sum.Left(kNoiseBlock) / 4 / kFree),
            static_cast<float>(static_cast<double>(sum.sum) / 2 / (kNoiseBlock * kNoiseBlock))};
  return true;
}

}  // namespace

void CompareBlocks(PlaneView a, PlaneView b, const Homography& motion, int limit, bool unclipped,
                   LayerVector<BlockNoise>* out) {
  ForPlaces(a, limit, [&](int x, int y) {
    const double middle = (kNoiseBlock - 1) / 2.0;
    double to_x = 0, to_y = 0;
    motion.Map(x + middle, y + middle, &to_x, &to_y);
    const double left = std::floor(to_x - middle + 0.5), top = std::floor(to_y - middle + 0.5);
    const bool inside =
        left >= 0 && top >= 0 && left <= b.width - kNoiseBlock && top <= b.height - kNoiseBlock;
    if (!inside) return;
    BlockNoise noise;
    const uint8_t* other = b.Row(static_cast<int>(top)) + static_cast<int>(left);
    if (CompareBlock(a.Row(y) + x, a.pitch, other, b.pitch, unclipped, &noise)) out->push_back(noise);
  });
}

void InspectBlocks(PlaneView a, int limit, bool unclipped, LayerVector<BlockNoise>* out) {
  ForPlaces(a, limit, [&](int x, int y) {
    const Block block = Load(a.Row(y) + x, a.pitch, a.Row(y) + x, a.pitch);
    if (unclipped && block.clipped > kMostClipped) return;
    int16_t half[kHalf * kHalf];
    Reduce(block.sum, half);
    const PlaneFit sum = Fit<kNoiseBlock>(block.sum);
    // Sums are twice the pixels.
    const auto noise = static_cast<float>(sum.Left(kNoiseBlock) / 4 / kFree);
    out->push_back({noise, static_cast<float>(Fit<kHalf>(half).Left(kHalf) / 16 / 4 / kFreeHalf), noise,
                    static_cast<float>(static_cast<double>(sum.sum) / 2 / (kNoiseBlock * kNoiseBlock))});
  });
}

}  // namespace zolt
