#include "registration/descriptors.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "base/vector_clones.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

constexpr int32_t kJobs = 4;
constexpr int32_t kStoredSide = kPatchSide + 1;  // differences need one pixel more
constexpr int32_t kPatchBytes = kStoredSide * kStoredSide;
constexpr int32_t kGradients = kPatchSide * kPatchSide;
constexpr int32_t kCellSide = 5;
constexpr int32_t kCells = kPatchSide / kCellSide;

/// The weights' upper left quarter; the others mirror it.
constexpr int32_t kHalfSide = kPatchSide / 2;
constexpr int32_t kQuarterWeights[kHalfSide][kHalfSide] = {
    {62, 142, 295, 562, 974, 1542, 2227, 2933, 3525, 3864},
    {142, 324, 675, 1284, 2227, 3525, 5089, 6703, 8054, 8829},
    {295, 675, 1407, 2676, 4642, 7348, 10609, 13973, 16790, 18405},
    {562, 1284, 2676, 5089, 8829, 13973, 20175, 26574, 31932, 35003},
    {974, 2227, 4642, 8829, 15317, 24243, 35003, 46105, 55399, 60727},
    {1542, 3525, 7348, 13973, 24243, 38369, 55399, 72970, 87681, 96114},
    {2227, 5089, 10609, 20175, 35003, 55399, 79988, 105357, 126598, 138773},
    {2933, 6703, 13973, 26574, 46105, 72970, 105357, 138773, 166750, 182787},
    {3525, 8054, 16790, 31932, 55399, 87681, 126598, 166750, 200367, 219637},
    {3864, 8829, 18405, 35003, 60727, 96114, 138773, 182787, 219637, 240761},
};

struct WeightTable {
  int32_t at[kGradients];
};

constexpr WeightTable MirrorWeights() {
  WeightTable table = {};
  for (int32_t y = 0; y < kPatchSide; ++y) {
    for (int32_t x = 0; x < kPatchSide; ++x) {
      table.at[y * kPatchSide + x] =
          kQuarterWeights[std::min(y, kPatchSide - 1 - y)][std::min(x, kPatchSide - 1 - x)];
    }
  }
  return table;
}
constexpr WeightTable kWeights = MirrorWeights();

/// One job's block: the patch, then a gathered square of the image.
struct PatchMemory {
  uint8_t* patch;
  uint8_t* square;
};

/// The win x win square at (x0, y0) of an image that it hangs over. Rows beyond the image repeat its first or
/// last one. A square over the left edge starts at column 0 and walks on from there, so it is shifted; over
/// the right edge the last column repeats. Both frames of a pair are treated alike, so matching holds.
void GatherSquare(const DetectionImage& image, int32_t x0, int32_t y0, int32_t win, uint8_t* square) {
  const int32_t first = Clamp(x0, 0, image.width - 1);
  const int32_t inside = std::min(win, image.width - first);
  for (int32_t i = 0; i < win; ++i) {
    const uint8_t* row =
        image.pixels + static_cast<int64_t>(Clamp(y0 + i, 0, image.height - 1)) * image.width;
    std::memcpy(square, row + first, static_cast<size_t>(inside));
    std::memset(square + inside, row[image.width - 1], static_cast<size_t>(win - inside));
    square += win;
  }
}

/// Means of the 21 x 21 blocks of s x s pixels: (sum * (65536 / s^2) + 32768) >> 16; the product is at most
/// 255 * 65536.
__attribute__((always_inline)) inline void BlockMeans(const uint8_t* __restrict source, int64_t pitch,
                                                      int32_t s, uint8_t* __restrict patch) {
  const int32_t reciprocal = 65536 / (s * s);
  for (int32_t r = 0; r < kStoredSide; ++r) {
    for (int32_t c = 0; c < kStoredSide; ++c) {
      int32_t sum = 0;
      for (int32_t i = 0; i < s; ++i) {
        for (int32_t j = 0; j < s; ++j) sum += source[(r * s + i) * pitch + c * s + j];
      }
      patch[r * kStoredSide + c] = static_cast<uint8_t>((sum * reciprocal + 32768) >> 16);
    }
  }
}

/// Filters 9 to 27 give s from 1 to 4: there the block's loops are unrolled.
void ResamplePatch(const uint8_t* source, int64_t pitch, int32_t s, uint8_t* patch) {
  switch (s) {
    case 1:
      return BlockMeans(source, pitch, 1, patch);
    case 2:
      return BlockMeans(source, pitch, 2, patch);
    case 3:
      return BlockMeans(source, pitch, 3, patch);
    case 4:
      return BlockMeans(source, pitch, 4, patch);
    default:
      return BlockMeans(source, pitch, s, patch);
  }
}

/// Weighted differences of 2 x 2 neighbours, at most 510 * 240761: 27 bits. The patch is stored 21 wide but
/// walked with a row length of 20, so that gradient rows drift by a pixel each; a fixed property of these
/// descriptors, the same in both frames.
void PatchGradients(const uint8_t* __restrict p, int32_t* __restrict dx, int32_t* __restrict dy) {
  for (int32_t i = 0; i < kGradients; ++i) {
    const int32_t a = p[i], b = p[i + 1], c = p[i + kPatchSide], d = p[i + kPatchSide + 1];
    dx[i] = ((b + d) - (a + c)) * kWeights.at[i];
    dy[i] = ((c + d) - (a + b)) * kWeights.at[i];
  }
}

/// Sums of dx, |dx|, dy, |dy| over each cell: at most 0.19 * 510 * 2^24, 31 bits.
void SumCells(const int32_t* dx, const int32_t* dy, int32_t sums[kDescriptorWords]) {
  for (int32_t cy = 0; cy < kCells; ++cy) {
    // First down the rows, a vector over the columns, then five columns each.
    int32_t columns[4][kPatchSide] = {};
    for (int32_t r = cy * kCellSide; r < (cy + 1) * kCellSide; ++r) {
      for (int32_t x = 0; x < kPatchSide; ++x) {
        const int32_t gx = dx[r * kPatchSide + x], gy = dy[r * kPatchSide + x];
        columns[0][x] += gx;
        columns[1][x] += gx < 0 ? -gx : gx;
        columns[2][x] += gy;
        columns[3][x] += gy < 0 ? -gy : gy;
      }
    }
    for (int32_t cx = 0; cx < kCells; ++cx) {
      for (int32_t k = 0; k < 4; ++k) {
        int32_t sum = 0;
        for (int32_t x = cx * kCellSide; x < (cx + 1) * kCellSide; ++x) sum += columns[k][x];
        *sums++ = sum;
      }
    }
  }
}

/// Scales to length 2^23. The norm is accumulated at 1/256 of the scale, which keeps it inside f32.
void Normalise(const int32_t* sums, int32_t* descriptor) {
  float square_sum = 0.0f;
  for (int32_t i = 0; i < kDescriptorWords; ++i) {
    const float v = static_cast<float>(sums[i]) * 0.00390625f;
    square_sum += v * v;
  }
  const double norm = std::sqrt(static_cast<double>(square_sum)) + 1.1920928955078125e-7;
  const float factor = static_cast<float>(1.0 / norm);
  for (int32_t i = 0; i < kDescriptorWords; ++i) {
    descriptor[i] = TruncateToI32(static_cast<float>(sums[i]) * factor * 32768.0f);
  }
}

ZOLT_VECTOR_CLONES void Describe(const DetectionImage& image, const KeyPoint& keypoint,
                                 const PatchMemory& memory, int32_t* descriptor) {
  const int32_t s = SamplingSize(keypoint.scale);
  if (s <= 0) return;
  const int32_t win = kStoredSide * s;
  const int32_t x0 = (keypoint.x - ((win - 1) << 7) + 128) >> 8;
  const int32_t y0 = (keypoint.y - ((win - 1) << 7) + 128) >> 8;
  if (x0 > 0 && y0 > 0 && x0 + win < image.width - 1 && y0 + win < image.height - 1) {
    ResamplePatch(image.pixels + static_cast<int64_t>(y0) * image.width + x0, image.width, s, memory.patch);
  } else {
    GatherSquare(image, x0, y0, win, memory.square);
    ResamplePatch(memory.square, win, s, memory.patch);
  }
  int32_t dx[kGradients], dy[kGradients], sums[kDescriptorWords];
  PatchGradients(memory.patch, dx, dy);
  SumCells(dx, dy, sums);
  Normalise(sums, descriptor);
}

}  // namespace

int32_t PatchWeight(int32_t y, int32_t x) {
  return kWeights.at[y * kPatchSide + x];
}

int32_t SamplingSize(int32_t scale) {
  return TruncateToI32(static_cast<double>(static_cast<float>(scale)) * 1.2 / 9.0 + 0.5);
}

int32_t DescribeKeypoints(const DetectionImage& image, const FeatureList& features,
                          const MfAllocHooks& hooks) {
  int32_t largest = 0;
  for (int32_t i = 0; i < features.count; ++i) {
    largest = std::max(largest, SamplingSize(features.keypoints[i].scale));
  }
  const int64_t square_side = int64_t{kStoredSide} * largest;
  // The gradients' 2 x 1600 bytes belong to the block's size, though they live on the stack.
  const uint64_t block_size =
      static_cast<uint64_t>(2 * 4 * kGradients + kPatchBytes + square_side * square_side);
  HookBlock blocks[kJobs];
  int32_t result = kOk;
  for (HookBlock& block : blocks) {
    block.Take(block_size, kRegistrationPool, hooks);
    if (block) continue;
    LogError("GenerateDiscriptor_Simple_neon_multi_inside: malloc failed!");
    result = kNoMemory;
  }
  if (result != kOk) return result;

  std::fill_n(features.descriptors, int64_t{kDescriptorWords} * features.count, 0);
  const int32_t per_job = features.count / kJobs;
  RunOnPool(RegistrationPool(), [&](int32_t job) {
    const PatchMemory memory = {blocks[job].data(), blocks[job].data() + kPatchBytes};
    const int32_t end = job == kJobs - 1 ? features.count : (job + 1) * per_job;
    for (int32_t i = job * per_job; i < end; ++i) {
      Describe(image, features.keypoints[i], memory, features.descriptors + int64_t{kDescriptorWords} * i);
    }
  });
  return kOk;
}

}  // namespace zolt
