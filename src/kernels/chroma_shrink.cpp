#include "kernels/chroma_shrink.h"

#include <cassert>
#include <cstdlib>
#include <type_traits>

#include "base/arithmetic.h"
#include "base/vector_clones.h"
#include "kernels/atrous_smooth.h"
#include "kernels/last_block.h"

namespace zolt {
namespace {

constexpr int kLevels = 5;
constexpr int kTableSteps = 4;                        // thresholds per level, one per 64 grey levels
constexpr int kPlaneEntries = kLevels * kTableSteps;  // of one chroma plane
constexpr int kSmallDetail = 76;                      // 0.6 of a grey level in Q7
constexpr int kLeak = 327;                            // 1 per cent in Q15
constexpr int kBlock = 8;

/// The level's thresholds times g, modulo 2^32.
struct LevelThresholds {
  LevelThresholds(const int32_t* table, uint16_t g) {
    for (int i = 0; i < kTableSteps; ++i) step[i] = static_cast<uint32_t>(table[i]) * g;
  }
  uint32_t step[kTableSteps];
};

/// Shrinks the details between `input` and its low-pass over a run of samples. At the first level `input` is
/// the plane itself and the details replace it; later they are added. In the last partial block of a row the
/// rounding constant is another and the threshold is signed.
template <bool kFirstLevel, bool kPartialBlock>
void ShrinkRun(int16_t* __restrict cw, const int16_t* __restrict input, const int16_t* __restrict low,
               const uint16_t* __restrict noise, const LevelThresholds& thresholds, int count) {
  const uint32_t t0 = thresholds.step[0], t1 = thresholds.step[1];
  const uint32_t t2 = thresholds.step[2], t3 = thresholds.step[3];
  constexpr uint32_t kRounding = kPartialBlock ? 65536 : 8192;
  using Threshold = std::conditional_t<kPartialBlock, int16_t, uint16_t>;
  for (int x = 0; x < count; ++x) {
    // The quarter of the chroma range is in bits 13 and 14: selects instead of a look-up keep the lanes full.
    const uint32_t lower = (low[x] & 8192) ? t1 : t0;
    const uint32_t upper = (low[x] & 8192) ? t3 : t2;
    const uint32_t scaled = (((low[x] & 16384) ? upper : lower) * noise[x] + kRounding) >> 14;
    auto t = static_cast<Threshold>(scaled);
    if (kFirstLevel) t = t > kSmallDetail ? t : Threshold{kSmallDetail};
    // Used only where |d| exceeds t, so t < 32768 and u needs no saturation to 16 bits.
    const int32_t u = (t * (32768 - kLeak) + 16384) >> 15;
    const auto d = static_cast<int16_t>((kFirstLevel ? cw[x] : input[x]) - low[x]);
    const int32_t leaked = (d * kLeak + 16384) >> 15;
    int32_t s = d > t ? d - u : d < -t ? d + u : leaked;
    if (kFirstLevel) s = d > -kSmallDetail && d < kSmallDetail ? d : s;
    cw[x] = static_cast<int16_t>(kFirstLevel ? s : cw[x] + s);
  }
}

template <bool kFirstLevel>
void ShrinkLevel(int16_t* cw, const int16_t* input, const int16_t* low, const uint16_t* noise,
                 const LevelThresholds& thresholds, int w, int h) {
  const int whole = w - w % kBlock;
  for (int y = 0; y < h; ++y) {
    const int64_t at = static_cast<int64_t>(y) * w;
    ShrinkRun<kFirstLevel, false>(cw + at, input + at, low + at, noise + at, thresholds, whole);
    const int64_t rest = at + whole;
    ShrinkRun<kFirstLevel, true>(cw + rest, input + rest, low + rest, noise + rest, thresholds, w - whole);
  }
}

/// All five levels over one plane, whose 20 thresholds begin at `table`. The low-pass alternates between two
/// planes of `work`; a level's details are folded into cw at once, so no level needs a plane of its own.
ZOLT_VECTOR_CLONES void ShrinkPlane(int16_t* cw, int w, int h, uint16_t g, const uint16_t* noise,
                                    int16_t* work, const int32_t* table, uint8_t* low_pass) {
  const int64_t area = static_cast<int64_t>(w) * h;
  const int16_t* input = cw;
  for (int level = 0; level < kLevels; ++level) {
    int16_t* low = work + (1 + level % 2) * area;
    AtrousSmooth(input, w, low, w, work, w, w, h, 1 << level);
    const LevelThresholds thresholds(table + level * kTableSteps, g);
    if (level == 0) {
      ShrinkLevel<true>(cw, input, low, noise, thresholds, w, h);
    } else {
      ShrinkLevel<false>(cw, input, low, noise, thresholds, w, h);
    }
    if (level == 1) FromQ7(low, low_pass, w, h);
    input = low;
  }
  for (int64_t i = 0; i < area; ++i) cw[i] = static_cast<int16_t>(cw[i] + input[i]);
}

/// 0 on flat ground to a - b on an edge.
inline uint16_t EdgeShare(uint8_t edge, int b, int range) {
  const int above = edge > b ? edge - b : 0;
  return static_cast<uint16_t>(above < range ? above : range);
}

}  // namespace

ChromaSettings ChromaSettingsFromStrength(int32_t chromaS, int32_t f) {
  const int32_t tenfold = WrapMul(10, chromaS);
  const auto scale = static_cast<float>(WrapAdd(chromaS, 100) & 255);
  const auto g = static_cast<uint16_t>(scale / 10.0f * 4.0f);
  if (tenfold < -620) return {30, 15, 0, g};
  if (tenfold > -395) return {255, 127, f, g};
  const int32_t a = (tenfold - 118) & 255;
  return {a, a >> 1, a == 30 ? 0 : f, g};
}

ZOLT_VECTOR_CLONES void ChromaMagnitude(const uint8_t* u, const uint8_t* v, uint8_t* destination, int w,
                                        int h, int pitch) {
  for (int y = 0; y < h; ++y) {
    const int64_t at = static_cast<int64_t>(y) * pitch;
    for (int x = 0; x < w; ++x) {
      // At most 320; the inner saturation is implied by the outer one.
      const int lifted = std::abs(u[at + x] - 128) + std::abs(v[at + x] - 128) + 64;
      destination[at + x] = static_cast<uint8_t>(lifted > 255 ? 255 : lifted);
    }
  }
}

void SaturatingAdd(uint8_t* a, const uint8_t* b, int w, int h) {
  for (int y = 0; y < h; ++y) {
    uint8_t* row = a + static_cast<int64_t>(y) * w;
    const uint8_t* __restrict addend = b + static_cast<int64_t>(y) * w;
    ForBlocks<16>(w, [&](int first, int count) {
      uint8_t* __restrict out = row + first;
      for (int x = 0; x < count; ++x) {
        const int sum = out[x] + addend[first + x];
        out[x] = static_cast<uint8_t>(sum > 255 ? 255 : sum);
      }
    });
  }
}

ZOLT_VECTOR_CLONES void ToQ7(const uint8_t* source, int16_t* destination, int w, int h) {
  const int64_t area = static_cast<int64_t>(w) * h;
  int16_t* __restrict out = destination;
  for (int64_t i = 0; i < area; ++i) out[i] = static_cast<int16_t>(source[i] << 7);
}

ZOLT_VECTOR_CLONES void FromQ7(const int16_t* source, uint8_t* destination, int w, int h) {
  const int64_t area = static_cast<int64_t>(w) * h;
  uint8_t* __restrict out = destination;
  for (int64_t i = 0; i < area; ++i) {
    // (v + 64) >> 7 in two steps that stay within 16 bits.
    const auto grey = static_cast<int16_t>(((source[i] >> 6) + 1) >> 1);
    out[i] = SaturateU8(grey);
  }
}

void ChromaShrinkFirst(int16_t* cw, const uint8_t* edge, const uint8_t* wq, int w, int h,
                       const ChromaSettings& settings, int shift, uint16_t* noise_map, int16_t* work,
                       const int32_t* chromaNrLUT, uint8_t* low_pass) {
  assert(shift >= 5 && shift <= 8);
  const int range = settings.a - settings.b, b = settings.b;
  const int k = (4096 - settings.floor) / range;
  const int64_t area = static_cast<int64_t>(w) * h;
  const int most = (1 << shift) - 1, half = 1 << (shift - 1);
  uint16_t* __restrict noise = noise_map;
  // With k <= 273 and range * k <= 4096 every step is within 0..65535: 16-bit lanes.
  for (int64_t i = 0; i < area; ++i) {
    const uint16_t e = EdgeShare(edge[i], b, range);
    const auto missing = static_cast<uint16_t>(most > wq[i] ? most - wq[i] : 0);
    const int fewer = shift - (wq[i] >> 4);
    const auto c = static_cast<uint16_t>(fewer > 1 ? fewer : 1);
    const auto r = static_cast<uint16_t>(static_cast<uint16_t>((k >> 1) * missing + half) >> shift);
    noise[i] = static_cast<uint16_t>((4096 - e * (k - r)) * c);
  }
  ShrinkPlane(cw, w, h, settings.g, noise_map, work, chromaNrLUT, low_pass);
}

void ChromaShrinkFirstPlain(int16_t* cw, const uint8_t* edge, int w, int h, const ChromaSettings& settings,
                            uint16_t* noise_map, int16_t* work, const int32_t* chromaNrLUT,
                            uint8_t* low_pass) {
  const int range = settings.a - settings.b, b = settings.b;
  const int k = (4096 - settings.floor) / range;
  const int64_t area = static_cast<int64_t>(w) * h;
  uint16_t* __restrict noise = noise_map;
  for (int64_t i = 0; i < area; ++i) {
    noise[i] = static_cast<uint16_t>(4096 - EdgeShare(edge[i], b, range) * k);
  }
  ShrinkPlane(cw, w, h, settings.g, noise_map, work, chromaNrLUT, low_pass);
}

void ChromaShrinkSecond(int16_t* cw, int w, int h, const ChromaSettings& settings, const uint16_t* noise_map,
                        int16_t* work, const int32_t* chromaNrLUT, uint8_t* low_pass) {
  ShrinkPlane(cw, w, h, settings.g, noise_map, work, chromaNrLUT + kPlaneEntries, low_pass);
}

}  // namespace zolt
