#include "noise/coring.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "base/arithmetic.h"
#include "base/vector_clones.h"
#include "kernels/last_block.h"

namespace zolt {
namespace {

constexpr double kLogQuarter = -1.3862943611198906;
constexpr int kBlock = 8;

void EdgeRow(const int16_t* a, const int16_t* b, const int16_t* c, uint8_t* __restrict map_h,
             uint8_t* __restrict map_v, uint8_t* __restrict map_d, int columns, int16_t threshold) {
  for (int i = 0; i < columns; ++i) {
    const auto left = static_cast<int16_t>(a[i] + 2 * b[i] + c[i]);
    const auto right = static_cast<int16_t>(a[i + 2] + 2 * b[i + 2] + c[i + 2]);
    const auto upper = static_cast<int16_t>(a[i] + 2 * a[i + 1] + a[i + 2]);
    const auto lower = static_cast<int16_t>(c[i] + 2 * c[i + 1] + c[i + 2]);
    const auto dx = static_cast<int16_t>(left - right);
    const auto dy = static_cast<int16_t>(upper - lower);
    auto gx = static_cast<int16_t>(dx < 0 ? -dx : dx);
    auto gy = static_cast<int16_t>(dy < 0 ? -dy : dy);
    gx = gx > 255 ? int16_t{255} : gx;
    gy = gy > 255 ? int16_t{255} : gy;
    gx = gx < threshold ? int16_t{0} : gx;
    gy = gy < threshold ? int16_t{0} : gy;
    map_h[i] = static_cast<uint8_t>(gx);
    map_v[i] = static_cast<uint8_t>(gy);
    map_d[i] = static_cast<uint8_t>((gx + gy + 1) >> 1);
  }
}

// Table look-ups have no vector form on the processors at hand, so they are done first, a chunk at a time,
// and the rest of the arithmetic runs in vectors over the chunk.
void ShrinkRun(int16_t* __restrict band, const uint8_t* __restrict map, int count, const int16_t* entries,
               uint8_t limit, uint16_t gain, uint16_t cap) {
  constexpr int kChunk = 128;
  int16_t cored[kChunk];
  for (int first = 0; first < count; first += kChunk) {
    const int n = std::min(kChunk, count - first);
    int16_t* __restrict c = band + first;
    const uint8_t* __restrict m = map + first;
    for (int i = 0; i < n; ++i) {
      const auto index = static_cast<uint32_t>(c[i] + CoringTable::kOffset);
      cored[i] = index < CoringTable::kEntries ? entries[index] : c[i];
    }
    for (int i = 0; i < n; ++i) {
      // Below the limit the share is at most 1024 and the loss at most 512, so products of 16-bit lanes do.
      const auto share = static_cast<uint16_t>(m[i] * gain);
      const auto kept = static_cast<int16_t>(share < cap ? share : cap);
      const auto loss = static_cast<int16_t>(c[i] - cored[i]);
      const auto mixed = static_cast<int16_t>(cored[i] + ((loss * kept + 512) >> 10));
      c[i] = m[i] < limit ? mixed : c[i];
    }
  }
}

}  // namespace

void BuildCoringLut(CoringTable* table, int32_t p) {
  *table = {};
  const float share = static_cast<float>(p) / 511.0f;
  const double base = std::log(1.0 - static_cast<double>(share) - 0.00001);
  const auto exponent = static_cast<float>(kLogQuarter / base);
  int16_t* centre = table->entries + CoringTable::kOffset;
  for (int i = 0; i < CoringTable::kOffset; ++i) {
    const auto distance = static_cast<float>(1 - i / 511.0);
    const double k = std::pow(static_cast<double>(distance), static_cast<double>(exponent));
    const int lost = TruncateToI32(static_cast<float>(0.49 + i * k));
    centre[i] = static_cast<int16_t>(i - lost);
    centre[-i] = static_cast<int16_t>(lost - i);
  }
}

void EdgeMapSobel(const int16_t* band, const EdgeMaps& maps, int w, int h, int pitch, uint8_t threshold) {
  const int written = std::min(w / kBlock * kBlock, w - 2);
  for (int r = 0; r < h; ++r) {
    const ptrdiff_t at = static_cast<ptrdiff_t>(r) * w;
    const bool inside = r > 0 && r < h - 1;
    const int filled = inside ? written : 0;
    if (inside) {
      const int16_t* above = band + static_cast<ptrdiff_t>(r - 1) * pitch;
      EdgeRow(above, above + pitch, above + 2 * static_cast<ptrdiff_t>(pitch), maps.mapH + at + 1,
              maps.mapV + at + 1, maps.mapD + at + 1, filled, threshold);
    }
    for (uint8_t* map : {maps.mapH, maps.mapV, maps.mapD}) {
      map[at] = 0;
      std::fill(map + at + 1 + filled, map + at + w, uint8_t{0});
    }
  }
}

ZOLT_VECTOR_CLONES void ShrinkBand(int16_t* band, int band_pitch, const uint8_t* map, int map_pitch, int w,
                                   int h, const CoringTable& table, uint8_t limit, uint16_t cap) {
  const auto gain = static_cast<uint16_t>(1024 / limit);
  for (int r = 0; r < h; ++r) {
    int16_t* row = band + static_cast<ptrdiff_t>(r) * band_pitch;
    const uint8_t* map_row = map + static_cast<ptrdiff_t>(r) * map_pitch;
    ForBlocks<kBlock>(w, [&](int first, int count) {
      ShrinkRun(row + first, map_row + first, count, table.entries, limit, gain, cap);
    });
  }
}

}  // namespace zolt
