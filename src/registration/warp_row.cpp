#include "registration/warp_row.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "base/arithmetic.h"
#include "base/vector_clones.h"

namespace zolt {
namespace {

constexpr int kGroupPositions = 4;  ///< blocks of 2 x 2 pixels in a group
constexpr int kChunkGroups = 32;
constexpr int kChunkPositions = kChunkGroups * kGroupPositions;
constexpr int kChunkColumns = 2 * kChunkPositions;

/// Source positions of a run of blocks.
struct Positions {
  float exact_x[kChunkPositions], exact_y[kChunkPositions];
  int32_t x[kChunkPositions], y[kChunkPositions];    ///< truncated
  int16_t fx[kChunkPositions], fy[kChunkPositions];  ///< Q7
  int32_t count;
};

/// The six luma samples that each output column of a row pair is made of, row by row.
struct Samples {
  uint8_t left[3][kChunkColumns], right[3][kChunkColumns];
};

/// Reciprocals of the groups' denominators, once for each position. `den` goes on from chunk to chunk.
void Reciprocals(float step, int groups, float* den, float* __restrict of_positions) {
  float of_groups[kChunkGroups] = {};
  for (int g = 0; g < groups; ++g) {
    of_groups[g] = *den;
    *den += step;
  }
  for (int g = 0; g < groups; ++g) of_groups[g] = 1 / of_groups[g];
  for (int g = 0; g < groups; ++g) {
    for (int k = 0; k < kGroupPositions; ++k) of_positions[kGroupPositions * g + k] = of_groups[g];
  }
}

/// Positions of the groups from `first` on. True when all samples of all their blocks lie inside the source
/// with a column to spare, and no fraction is negative.
///
/// Floats of at least +0 order as their bits do, and negative ones, infinities and not-a-number have bits
/// below 0 or above every frame's: one comparison of integers finds them all.
ZOLT_VECTOR_CLONES bool Locate(const WarpGeometry& geometry, int32_t y, int32_t first, int groups, float* den,
                               Positions* __restrict positions) {
  const float* h = geometry.homography;
  const auto row = static_cast<float>(y);
  float reciprocals[kChunkPositions];
  Reciprocals(8 * h[6], groups, den, reciprocals);
  const float h0 = h[0], h1y = h[1] * row, h2 = h[2], h3 = h[3], h4y = h[4] * row, h5 = h[5];
  const float* __restrict columns = geometry.columns + kGroupPositions * first;
  const int32_t end_x = std::bit_cast<int32_t>(static_cast<float>(geometry.width - 3));
  const int32_t end_y = std::bit_cast<int32_t>(static_cast<float>(geometry.height - 2));
  const int count = kGroupPositions * groups;
  int32_t outside = 0;  // the sign tells
  for (int p = 0; p < count; ++p) {
    const float x = ((h0 * columns[p] + h1y) + h2) * reciprocals[p];
    const float sy = ((h3 * columns[p] + h4y) + h5) * reciprocals[p];
    positions->exact_x[p] = x;
    positions->exact_y[p] = sy;
    const auto bits_x = std::bit_cast<int32_t>(x), bits_y = std::bit_cast<int32_t>(sy);
    outside |= bits_x | ~WrapSub(bits_x, end_x) | bits_y | ~WrapSub(bits_y, end_y);
  }
  positions->count = count;
  return outside >= 0;
}

/// Splits coordinates that are known to lie in the source.
void SplitInside(const float* __restrict exact, int n, int32_t* __restrict whole,
                 int16_t* __restrict fraction) {
  for (int p = 0; p < n; ++p) {
    const auto i = static_cast<int32_t>(exact[p]);
    whole[p] = i;
    fraction[p] = static_cast<int16_t>(static_cast<int32_t>(exact[p] * 128) - i * 128);
  }
}

/// Splits any coordinates; those without a meaning saturate.
void SplitAnywhere(const float* exact, int n, int32_t* whole, int16_t* fraction) {
  for (int p = 0; p < n; ++p) {
    whole[p] = TruncateToI32(exact[p]);
    fraction[p] = SaturateS16(WrapSub(TruncateToI32(exact[p] * 128), WrapMul(whole[p], 128)));
  }
}

/// Whether the group's four blocks lie side by side in the source.
inline bool SideBySide(const int32_t* x, const int32_t* y) {
  return ((x[1] - x[0] - 2) | (x[2] - x[0] - 4) | (x[3] - x[0] - 6) | (y[1] - y[0]) | (y[2] - y[0]) |
          (y[3] - y[0])) == 0;
}

/// Four pixels, the first in the low byte.
inline uint64_t LoadFour(const uint8_t* pixels) {
  static_assert(std::endian::native == std::endian::little);
  uint32_t four;
  std::memcpy(&four, pixels, sizeof four);
  return four;
}

/// How many rows below its own a row pair asks for what later pairs read. A rotated row crosses a source row
/// every few dozen pixels, too often for the processor's own prefetching to follow.
constexpr int kRowsAhead = 6;

/// May ask for what lies behind the plane, where no pointer may be formed by arithmetic on pointers; nothing
/// is read.
inline void PrefetchBelow(const uint8_t* pixel, int64_t bytes) {
  const uintptr_t below = reinterpret_cast<uintptr_t>(pixel) + static_cast<uintptr_t>(bytes);
  __builtin_prefetch(reinterpret_cast<const void*>(below));  // NOLINT(performance-no-int-to-ptr)
}

/// Luma and nearest chroma samples of blocks inside: eight columns at once where a group's blocks are
/// neighbours, otherwise two a block, put together in a register: the blend reads wide what is stored here,
/// and waits for narrow stores. Chroma is kPlanes planes of samples of 2 / kPlanes bytes.
template <int kPlanes>
void GatherInside(const WarpGeometry& geometry, const uint8_t* luma, const WarpPlane* chroma, int first,
                  const Positions& positions, Samples* samples) {
  constexpr int kBytes = 2 / kPlanes;
  const int64_t pitch = geometry.width, chroma_pitch = geometry.width / 2;
  for (int p = 0; p < positions.count; p += kGroupPositions) {
    const int32_t* x = positions.x + p;
    const int32_t* y = positions.y + p;
    PrefetchBelow(luma + y[0] * pitch + x[0], (kRowsAhead + (p / kGroupPositions) % 2) * pitch);
    if (SideBySide(x, y)) {
      const uint8_t* s = luma + y[0] * pitch + x[0];
      for (int i = 0; i < 3; ++i, s += pitch) {
        std::memcpy(samples->left[i] + 2 * p, s, 8);
        std::memcpy(samples->right[i] + 2 * p, s + 1, 8);
      }
      const int64_t index = kBytes * (((y[0] + 1) >> 1) * chroma_pitch + ((x[0] + 1) >> 1));
      for (int plane = 0; plane < kPlanes; ++plane) {
        std::memcpy(chroma[plane].out + kBytes * (first + p), chroma[plane].source + index,
                    kBytes * kGroupPositions);
      }
      continue;
    }
    for (int i = 0; i < 3; ++i) {
      uint64_t left = 0, right = 0;
      for (int k = 0; k < kGroupPositions; ++k) {
        const uint64_t four = LoadFour(luma + (y[k] + i) * pitch + x[k]);
        left |= (four & 0xFFFF) << (16 * k);
        right |= ((four >> 8) & 0xFFFF) << (16 * k);
      }
      std::memcpy(samples->left[i] + 2 * p, &left, 8);
      std::memcpy(samples->right[i] + 2 * p, &right, 8);
    }
    for (int k = 0; k < kGroupPositions; ++k) {
      const int64_t index = kBytes * (((y[k] + 1) >> 1) * chroma_pitch + ((x[k] + 1) >> 1));
      for (int plane = 0; plane < kPlanes; ++plane) {
        std::memcpy(chroma[plane].out + kBytes * (first + p + k), chroma[plane].source + index, kBytes);
      }
    }
  }
}

/// The same for blocks anywhere, each sample clamped to the source on its own.
template <int kPlanes>
void GatherClamped(const WarpGeometry& geometry, const uint8_t* luma, const WarpPlane* chroma, int first,
                   const Positions& positions, Samples* samples) {
  constexpr int kBytes = 2 / kPlanes;
  const int64_t last_x = geometry.width - 1, last_y = geometry.height - 1;
  for (int p = 0; p < positions.count; ++p) {
    const int64_t x = positions.x[p], y = positions.y[p];
    int64_t column[3];
    for (int j = 0; j < 3; ++j) column[j] = Clamp<int64_t>(x + j, 0, last_x);
    for (int i = 0; i < 3; ++i) {
      const uint8_t* row = luma + Clamp<int64_t>(y + i, 0, last_y) * geometry.width;
      for (int j = 0; j < 2; ++j) {
        samples->left[i][2 * p + j] = row[column[j]];
        samples->right[i][2 * p + j] = row[column[j + 1]];
      }
    }
    const int64_t index = Clamp<int64_t>((y + 1) >> 1, 0, last_y >> 1) * (geometry.width / 2) +
                          Clamp<int64_t>((x + 1) >> 1, 0, last_x >> 1);
    for (int plane = 0; plane < kPlanes; ++plane) {
      std::memcpy(chroma[plane].out + kBytes * (first + p), chroma[plane].source + kBytes * index, kBytes);
    }
  }
}

/// Each fraction for both columns of its block.
void SpreadFractions(const int16_t* __restrict fractions, int n, uint8_t* __restrict columns) {
  for (int p = 0; p < n; ++p) {
    columns[2 * p] = static_cast<uint8_t>(fractions[p]);
    columns[2 * p + 1] = static_cast<uint8_t>(fractions[p]);
  }
}

inline uint16_t MixColumns(uint8_t left, uint8_t right, uint16_t fx) {
  return static_cast<uint16_t>(static_cast<uint16_t>(left * (128 - fx) + right * fx + 32) >> 6);
}
inline uint8_t MixRows(uint16_t upper, uint16_t lower, uint16_t fy) {
  return static_cast<uint8_t>(static_cast<uint16_t>(upper * (128 - fy) + lower * fy + 128) >> 8);
}

/// Fractions 0..127: all in 16 bits.
ZOLT_VECTOR_CLONES void BlendInside(const Samples& samples, const Positions& positions,
                                    uint8_t* __restrict upper, uint8_t* __restrict lower) {
  uint8_t fx[kChunkColumns], fy[kChunkColumns];
  SpreadFractions(positions.fx, positions.count, fx);
  SpreadFractions(positions.fy, positions.count, fy);
  const int n = 2 * positions.count;
  for (int x = 0; x < n; ++x) {
    const uint16_t t0 = MixColumns(samples.left[0][x], samples.right[0][x], fx[x]);
    const uint16_t t1 = MixColumns(samples.left[1][x], samples.right[1][x], fx[x]);
    const uint16_t t2 = MixColumns(samples.left[2][x], samples.right[2][x], fx[x]);
    upper[x] = MixRows(t0, t1, fy[x]);
    lower[x] = MixRows(t1, t2, fy[x]);
  }
}

/// Any fractions. A position so far out that its fraction is no number of 0..127 has equal samples on both
/// sides, so that the sums stay within 26 bits.
void BlendAnywhere(const Samples& samples, const Positions& positions, uint8_t* upper, uint8_t* lower) {
  for (int x = 0; x < 2 * positions.count; ++x) {
    const int32_t fx = positions.fx[x / 2], fy = positions.fy[x / 2];
    int32_t t[3];
    for (int i = 0; i < 3; ++i) {
      t[i] = (samples.left[i][x] * (128 - fx) + samples.right[i][x] * fx + 32) >> 6;
    }
    upper[x] = SaturateU8((t[0] * (128 - fy) + t[1] * fy + 128) >> 8);
    lower[x] = SaturateU8((t[1] * (128 - fy) + t[2] * fy + 128) >> 8);
  }
}

template <int kPlanes>
void WarpRows(const WarpGeometry& geometry, int32_t y, const WarpPlane& luma, const WarpPlane* chroma) {
  const float* h = geometry.homography;
  float den = (h[6] * static_cast<float>(geometry.first_column) + h[7] * static_cast<float>(y)) + 1;
  Positions positions;
  Samples samples;
  for (int32_t group = 0; group < geometry.groups; group += kChunkGroups) {
    const int32_t groups = std::min(kChunkGroups, geometry.groups - group);
    const bool inside = Locate(geometry, y, group, groups, &den, &positions);
    const auto split = inside ? SplitInside : SplitAnywhere;
    split(positions.exact_x, positions.count, positions.x, positions.fx);
    split(positions.exact_y, positions.count, positions.y, positions.fy);
    const auto gather = inside ? GatherInside<kPlanes> : GatherClamped<kPlanes>;
    gather(geometry, luma.source, chroma, kGroupPositions * group, positions, &samples);
    const auto blend = inside ? BlendInside : BlendAnywhere;
    uint8_t* upper = luma.out + 2 * kGroupPositions * group;
    blend(samples, positions, upper, upper + geometry.width);
  }
}

}  // namespace

void WarpRowPair(const WarpGeometry& geometry, int32_t y, const WarpPlane& luma, const WarpPlane* chroma,
                 int32_t chroma_count) {
  const auto warp = chroma_count == 2 ? WarpRows<2> : WarpRows<1>;
  warp(geometry, y, luma, chroma);
}

}  // namespace zolt
