#include "noise/temporal_merge.h"

#include <algorithm>

#include "base/log.h"
#include "base/result_codes.h"
#include "base/vector_clones.h"
#include "kernels/last_block.h"
#include "threads/fork_join.h"

namespace zolt {
namespace {

constexpr int32_t kStripes = 4;
constexpr uint8_t kFoldStep = 25;
/// Columns that are taken at a time, so that two rows of all planes and the derived mask stay in the first
/// cache level.
constexpr int kChunk = 1024;

inline uint8_t Mix(uint8_t a, uint8_t b, uint8_t m, uint16_t w, uint16_t rest) {
  // (256 - m) b + m a with one product: the difference may be negative, but the sum is in 16 bits again.
  const auto moved = static_cast<uint16_t>(m * static_cast<uint16_t>(a - b));
  const auto t = static_cast<uint8_t>(static_cast<uint16_t>(256 * b + moved + 128) >> 8);
  const auto kept = static_cast<uint16_t>(w * a);
  return static_cast<uint8_t>(static_cast<uint16_t>(kept + static_cast<uint16_t>(rest * t) + 128) >> 8);
}

// A row that is its own output is a loop of its own: the compiler's check for overlapping planes would
// otherwise send every fold but a burst's first through the scalar loop.
void MixInPlace(uint8_t* __restrict a, const uint8_t* __restrict b, const uint8_t* __restrict m, uint16_t w,
                int n) {
  const auto rest = static_cast<uint16_t>(-w & 255);
  for (int x = 0; x < n; ++x) a[x] = Mix(a[x], b[x], m[x], w, rest);
}

void MixApart(uint8_t* __restrict out, const uint8_t* __restrict a, const uint8_t* __restrict b,
              const uint8_t* __restrict m, uint16_t w, int n) {
  const auto rest = static_cast<uint16_t>(-w & 255);
  for (int x = 0; x < n; ++x) out[x] = Mix(a[x], b[x], m[x], w, rest);
}

ZOLT_VECTOR_CLONES void MixRow(uint8_t* out, const uint8_t* a, const uint8_t* b, const uint8_t* m, uint16_t w,
                               int n) {
  if (out == a) {
    MixInPlace(out, b, m, w, n);
  } else {
    MixApart(out, a, b, m, w, n);
  }
}

/// n chroma masks from 2n columns of two rows.
void DeriveChromaMask(uint8_t* __restrict chroma, const uint8_t* __restrict upper,
                      const uint8_t* __restrict lower, int n) {
  for (int i = 0; i < n; ++i) {
    const int left = (upper[2 * i] + lower[2 * i]) >> 1;
    const int right = (upper[2 * i + 1] + lower[2 * i + 1]) >> 1;
    chroma[i] = static_cast<uint8_t>((left + right + 1) >> 1);
  }
}

/// Two luma rows and their chroma row, columns first .. first + n - 1; n is even and at most kChunk.
void FoldColumns(const FoldPlanes& p, int64_t luma, int32_t width, int64_t chroma, int n, uint8_t w) {
  uint8_t mask[kChunk / 2];
  DeriveChromaMask(mask, p.mask + luma, p.mask + luma + width, n / 2);
  MixRow(p.out.y + luma, p.a.y + luma, p.b.y + luma, p.mask + luma, w, n);
  MixRow(p.out.y + luma + width, p.a.y + luma + width, p.b.y + luma + width, p.mask + luma + width, w, n);
  MixRow(p.out.u + chroma, p.a.u + chroma, p.b.u + chroma, mask, w, n / 2);
  MixRow(p.out.v + chroma, p.a.v + chroma, p.b.v + chroma, mask, w, n / 2);
}

void CountRow(uint8_t* __restrict map, const uint8_t* __restrict mask, int n) {
  for (int x = 0; x < n; ++x) {
    const auto folded = static_cast<uint8_t>(map[x] + kFoldStep);
    map[x] = static_cast<uint8_t>((map[x] & mask[x]) | (folded & ~mask[x]));
  }
}

struct FoldJob {
  FoldPlanes planes;
  uint8_t* map;
  int32_t width;
  int32_t rows;  ///< of one stripe
  uint8_t w;
};

YuvImage MovedBy(const YuvImage& image, int64_t luma, int64_t chroma) {
  return {image.width, image.height, image.pitch, image.y + luma, image.u + chroma, image.v + chroma};
}

int32_t FoldStripe(void* argument, int32_t index) {
  const auto& job = *static_cast<const FoldJob*>(argument);
  const int64_t pixels = int64_t{job.rows} * job.width;
  const int64_t luma = index * pixels, chroma = index * (pixels >> 2);
  const FoldPlanes stripe = {MovedBy(job.planes.out, luma, chroma), MovedBy(job.planes.a, luma, chroma),
                             MovedBy(job.planes.b, luma, chroma), job.planes.mask + luma};
  FoldRows(stripe, job.map + luma, job.width, job.rows, job.w);
  return 0;
}

}  // namespace

void FoldRows(const FoldPlanes& planes, uint8_t* map, int32_t width, int32_t rows, uint8_t w) {
  for (int32_t y = 0; y + 1 < rows; y += 2) {
    const int64_t luma = int64_t{y} * width, chroma = int64_t{y / 2} * (width / 2);
    ForBlocks<16>(width, [&](int first, int count) {
      for (int x = first; x < first + count; x += kChunk) {
        FoldColumns(planes, luma + x, width, chroma + x / 2, std::min(kChunk, first + count - x), w);
      }
      // While the two rows of the mask are still near.
      CountRow(map + luma + first, planes.mask + luma + first, count);
      CountRow(map + luma + width + first, planes.mask + luma + width + first, count);
    });
  }
}

int32_t TemporalNrMaincall(const NrStageContext& context, const YuvImage& output) {
  const YuvImage& reference = context.images.images[0];
  FoldJob job = {{output, reference, context.images.images[1], context.ghost.map},
                 context.nr.weightMap,
                 reference.width,
                 reference.height >> 2,
                 context.nr.blendWeight};
  int32_t statuses[kStripes] = {};
  if (!ForkJoin(FoldStripe, &job, kStripes, statuses)) {
    LogError("%s", "pthread_create Error!");
    return kThreadFailure;
  }
  int32_t result = kOk;
  for (const int32_t status : statuses) {
    if (status != 0) result |= 1;
  }
  if (result == kOk) ++*context.nr.iirImgNum;
  return result;
}

}  // namespace zolt
