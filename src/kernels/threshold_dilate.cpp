#include "kernels/threshold_dilate.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/log.h"
#include "base/result_codes.h"
#include "kernels/bit_mask.h"

namespace zolt {
namespace {

constexpr int kRadius = 3;
constexpr int kNarrow = 33;  ///< below this a row is hardly more than one word: bits don't pay

bool AnySet(const uint8_t* plane, int w, int first_row, int end_row, int first, int end) {
  for (int r = first_row; r < end_row; ++r) {
    const uint8_t* row = plane + static_cast<ptrdiff_t>(r) * w;
    if (std::any_of(row + first, row + end, [](uint8_t v) { return v != 0; })) return true;
  }
  return false;
}

void DilateNarrow(uint8_t* plane, int w, int h, uint8_t* copy) {
  std::memcpy(copy, plane, static_cast<size_t>(w) * static_cast<size_t>(h));
  for (int r = 0; r < h; ++r) {
    const int first_row = std::max(r - kRadius, 0), end_row = std::min(r + kRadius + 1, h);
    for (int x = 0; x < w; ++x) {
      const int first = std::max(x - kRadius, 0), end = std::min(x + kRadius + 1, w);
      const bool set = AnySet(copy, w, first_row, end_row, first, end);
      plane[static_cast<ptrdiff_t>(r) * w + x] = set ? 255 : 0;
    }
  }
}

}  // namespace

std::atomic<void* (*)(size_t)> bit_mask_malloc{std::malloc};

int32_t ThresholdDilate(uint8_t* plane, int w, int h, uint8_t threshold, uint8_t* temporary) {
  const ptrdiff_t count = static_cast<ptrdiff_t>(w) * h;
  for (ptrdiff_t i = 0; i < count; ++i) plane[i] = plane[i] >= threshold ? 255 : 0;
  if (w < kNarrow) {
    DilateNarrow(plane, w, h, temporary);
    return kOk;
  }
  const size_t words = BitMaskPlaneWords(w, h);
  auto* bits = static_cast<uint32_t*>(bit_mask_malloc.load()(2 * words * sizeof(uint32_t)));
  if (bits == nullptr) {
    LogError("%s", "Memery Allocating Error!");
    return kNoMemory;
  }
  PackBitMask(plane, w, h, bits);
  DilateBitMask<kRadius>(bits, bits + words, w, h);
  UnpackBitMask(bits, w, h, plane);
  std::free(bits);
  return kOk;
}

}  // namespace zolt
