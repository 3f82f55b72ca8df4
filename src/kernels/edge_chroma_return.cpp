#include "kernels/edge_chroma_return.h"

#include "base/vector_clones.h"
#include "kernels/last_block.h"

namespace zolt {
namespace {

void MixMasked(uint8_t* __restrict out, const uint8_t* __restrict low, const uint8_t* __restrict mask,
               int count, int weight) {
  const int rest = 255 - weight;
  for (int x = 0; x < count; ++x) {
    const auto sum = static_cast<uint16_t>(out[x] * weight + low[x] * rest + 128);
    const auto mix = static_cast<uint8_t>(sum >> 8);
    out[x] = static_cast<uint8_t>((mix & mask[x]) | (out[x] & ~mask[x]));
  }
}

}  // namespace

ZOLT_VECTOR_CLONES void EdgeChromaReturn(const uint8_t* ul, const uint8_t* vl, uint8_t* uo, uint8_t* vo,
                                         const uint8_t* mask, int w, int h, uint8_t weight) {
  for (int y = 0; y < h; ++y) {
    const int64_t row = static_cast<int64_t>(y) * w;
    ForBlocks<8>(w, [&](int first, int count) {
      const int64_t at = row + first;
      MixMasked(uo + at, ul + at, mask + at, count, weight);
      MixMasked(vo + at, vl + at, mask + at, count, weight);
    });
  }
}

}  // namespace zolt
