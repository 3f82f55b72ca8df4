#include "noise/detail_return.h"

#include <cmath>
#include <memory>

#include "base/arithmetic.h"
#include "base/vector_clones.h"
#include "kernels/last_block.h"

namespace zolt {
namespace {

struct FreeBlock {
  void operator()(void* block) const { std::free(block); }
};

constexpr int32_t kWhole = 32768;  // 1 in Q15

void ReturnByWeightRun(uint8_t* __restrict y, const uint8_t* __restrict f, const uint8_t* __restrict weight,
                       int count, int limit, int shift) {
  for (int x = 0; x < count; ++x) {
    const int dark = f[x] < 16 ? f[x] : 16;
    const int frames = weight[x] < limit ? weight[x] : limit;
    const auto a = static_cast<uint8_t>((dark * frames + 8) >> 4);
    const auto rest = static_cast<uint16_t>((1 << shift) - a);
    const auto sum = static_cast<uint16_t>(f[x] * uint32_t{rest} + uint32_t{y[x]} * a + (1u << (shift - 1)));
    y[x] = static_cast<uint8_t>(sum >> shift);
  }
}

void ReturnByMaskRun(uint8_t* __restrict y, const uint8_t* __restrict f, const uint8_t* __restrict mask,
                     int count, int peak, uint16_t scale, uint16_t strength) {
  for (int x = 0; x < count; ++x) {
    const int distance = mask[x] < peak ? peak - mask[x] : mask[x] - peak;
    const int t = peak > distance ? peak - distance : 0;
    const auto u = static_cast<uint16_t>(static_cast<uint32_t>(t) * scale);
    const auto v = static_cast<uint16_t>((uint32_t{u} * strength + 64) >> 7);
    const auto rest = static_cast<uint16_t>(kWhole - v);
    y[x] = static_cast<uint8_t>((uint32_t{f[x]} * rest + uint32_t{y[x]} * v + kWhole / 2) >> 15);
  }
}

}  // namespace

ZOLT_VECTOR_CLONES void DetailReturnByWeight(uint8_t* y, const uint8_t* f, const uint8_t* weight_map, int w,
                                             int h, uint8_t limit, int shift) {
  for (int r = 0; r < h; ++r) {
    const int64_t row = static_cast<int64_t>(r) * w;
    ForBlocks<8>(w, [&](int first, int count) {
      const int64_t at = row + first;
      ReturnByWeightRun(y + at, f + at, weight_map + at, count, limit, shift);
    });
  }
}

EdgeReturnSettings EdgeReturnFromDetail(int32_t detail) {
  const int32_t spread = WrapMul(25, WrapSub(-100, detail));
  const int32_t sigma = spread < -499 ? 100 : WrapAdd(spread, 600);
  if (detail < -100) return {200, 200, 255, 128, sigma};
  if (detail < -78) return {150, 150, 200, 102, sigma};
  return {130, 130, 180, 76, sigma};
}

void GaussianGate(uint8_t* plane, int pitch, int w, int h, int32_t sigma, uint8_t centre,
                  void* (*allocate)(size_t, size_t)) {
  if (sigma < 0) return;
  const std::unique_ptr<uint8_t, FreeBlock> block(static_cast<uint8_t*>(allocate(256, 1)));
  if (block == nullptr) return;
  uint8_t* table = block.get();
  const float variance = static_cast<float>(sigma) * static_cast<float>(sigma);
  for (int i = 0; i < 256; ++i) {
    const auto distance = static_cast<float>(i - centre);
    const float square = distance * distance;
    const double gate = std::exp(-0.5 * static_cast<double>(square) / static_cast<double>(variance));
    table[i] = static_cast<uint8_t>(TruncateToI32(i * gate));
  }
  for (int y = 0; y < h; ++y) {
    uint8_t* row = plane + static_cast<int64_t>(y) * pitch;
    for (int x = 0; x < w; ++x) row[x] = table[row[x]];
  }
}

void ScaleByLuma(uint8_t* plane, const uint8_t* mean_luma, int w, int h, int32_t knee) {
  if (knee < 128) return;
  const int gain = kWhole / knee;  // at most 256, so luma times gain is within 16 bits
  for (int y = 0; y < h; ++y) {
    const int64_t row = static_cast<int64_t>(y) * w;
    ForBlocks<8>(w, [&](int first, int count) {
      uint8_t* __restrict out = plane + row + first;
      const uint8_t* __restrict luma = mean_luma + row + first;
      for (int x = 0; x < count; ++x) {
        const auto bright = static_cast<uint16_t>(luma[x] * gain);
        const auto share = static_cast<uint16_t>(bright < kWhole ? bright : kWhole);
        out[x] = static_cast<uint8_t>((uint32_t{out[x]} * share) >> 15);
      }
    });
  }
}

ZOLT_VECTOR_CLONES void DetailReturnByMask(uint8_t* y, const uint8_t* f, const uint8_t* mask, int w, int h,
                                           int pitch, uint8_t peak, uint16_t strength) {
  const auto scale = static_cast<uint16_t>(peak == 0 ? 0 : kWhole / peak);
  for (int r = 0; r < h; ++r) {
    const int64_t row = static_cast<int64_t>(r) * pitch;
    ForBlocks<8>(w, [&](int first, int count) {
      const int64_t at = row + first;
      ReturnByMaskRun(y + at, f + at, mask + at, count, peak, scale, strength);
    });
  }
}

}  // namespace zolt
