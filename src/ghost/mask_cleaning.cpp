#include "ghost/mask_cleaning.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "base/alloc_hooks.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "kernels/bit_mask.h"

namespace zolt {
namespace {

constexpr int kDilation = 7, kErosion = 3;

/// Byte morphology asks one question of a window, in two steps: is any pixel of it `wanted`? Dilation wants
/// nonzero pixels, erosion zero ones. First along columns: found(x, y) for rows y - radius to y + radius.
template <typename Wanted>
void FindAlongColumns(const uint8_t* mask, int n, int rows, int radius, Wanted wanted, uint8_t* found) {
  for (int r = 0; r < rows; ++r) {
    uint8_t* __restrict out = found + static_cast<ptrdiff_t>(r) * n;
    std::memset(out, 0, static_cast<size_t>(n));
    for (int k = std::max(r - radius, 0); k <= std::min(r + radius, rows - 1); ++k) {
      const uint8_t* __restrict row = mask + static_cast<ptrdiff_t>(k) * n;
      for (int x = 0; x < n; ++x) out[x] |= wanted(row[x]) ? 255 : 0;
    }
  }
}

/// Then along rows: where a column in reach has found one, `replace` gives the pixel's new value.
template <typename Replace>
void ReplaceAlongRows(const uint8_t* found, int n, int rows, int radius, Replace replace, uint8_t* mask) {
  for (int r = 0; r < rows; ++r) {
    const uint8_t* __restrict row = found + static_cast<ptrdiff_t>(r) * n;
    uint8_t* __restrict out = mask + static_cast<ptrdiff_t>(r) * n;
    for (int k = -radius; k <= radius; ++k) {
      const int end = std::min(n, n - k);
      for (int x = std::max(0, -k); x < end; ++x) out[x] = row[x + k] != 0 ? replace(out[x]) : out[x];
    }
  }
}

template <typename Wanted, typename Replace>
int32_t CleanBytes(uint8_t* mask, int n, int rows, int radius_x, int radius_y, Wanted wanted,
                   Replace replace) {
  const ByteBlock found(static_cast<uint64_t>(n) * static_cast<uint64_t>(rows), kDenoisePool);
  if (!found) {
    LogError("Memery Allocating Error!");
    return kNoMemory;
  }
  FindAlongColumns(mask, n, rows, radius_y, wanted, found.data());
  ReplaceAlongRows(found.data(), n, rows, radius_x, replace, mask);
  return kOk;
}

}  // namespace

int32_t GhostDilate(uint8_t* mask, int row_length, int rows, int radius_x, int radius_y) {
  return CleanBytes(
      mask, row_length, rows, radius_x, radius_y, [](uint8_t v) { return v != 0; },
      [](uint8_t v) { return v != 0 ? v : uint8_t{255}; });
}

int32_t GhostErode(uint8_t* mask, int row_length, int rows, int radius_x, int radius_y) {
  return CleanBytes(
      mask, row_length, rows, radius_x, radius_y, [](uint8_t v) { return v == 0; },
      [](uint8_t) { return uint8_t{0}; });
}

int32_t CleanLumaMaskBytes(uint8_t* mask, int w, int h) {
  const int32_t result = GhostDilate(mask, w, h, kDilation, kDilation);
  return result != kOk ? result : GhostErode(mask, w, h, kErosion, kErosion);
}

int32_t CleanChromaMaskBytes(uint8_t* mask, int w, int h) {
  const int32_t result = GhostErode(mask, w, h, kErosion, kErosion);
  return result != kOk ? result : GhostDilate(mask, w, h, kDilation, kDilation);
}

void CleanLumaMask(uint8_t* mask, int w, int h, uint32_t* bits) {
  uint32_t* other = bits + BitMaskPlaneWords(w, h);
  PackBitMask(mask, w, h, bits);
  DilateBitMask<kDilation>(bits, other, w, h);
  ErodeBitMask<kErosion>(bits, other, w, h);
  UnpackBitMask(bits, w, h, mask);
}

void CleanChromaMask(uint8_t* mask, int w, int h, uint32_t* bits) {
  uint32_t* other = bits + BitMaskPlaneWords(w, h);
  PackBitMask(mask, w, h, bits);
  ErodeBitMask<kErosion>(bits, other, w, h);
  DilateBitMask<kDilation>(bits, other, w, h);
  UnpackBitMask(bits, w, h, mask);
}

}  // namespace zolt
