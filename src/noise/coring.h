#pragma once

#include <cstdint>

namespace zolt {

/// What a detail coefficient of -512..511 becomes on flat ground. It returns about d (1 - k) with k = (1 -
/// |d| / 511)^E: a small coefficient loses nearly all, and three quarters of it remain at |d| = p. Odd about
/// 0; the entry of -512 is 0.
struct CoringTable {
  static constexpr int kOffset = 512;
  static constexpr int kEntries = 1024;
  int16_t entries[kEntries];  ///< entries[kOffset + d]
};

/// p is the strength, 0 (the identity) to 128.
void BuildCoringLut(CoringTable* table, int32_t p);

/// Three edge maps of a low-pass band, w x h bytes each, pitch w.
struct EdgeMaps {
  uint8_t* mapH;  ///< |gx|: gates the horizontal detail
  uint8_t* mapV;  ///< |gy|: gates the vertical detail
  uint8_t* mapD;  ///< rounded mean of the two: gates the diagonal detail
};

/// Sobel magnitudes, each saturated to 8 bits, and 0 below `threshold`. `band` holds grey levels of at most
/// +-4095, so that 16-bit lanes hold the sums; its pitch is in samples, w >= 2, h >= 2. The outer frame of
/// the maps is 0, and so are the columns behind the last whole block of eight counted from column 1.
void EdgeMapSobel(const int16_t* band, const EdgeMaps& maps, int w, int h, int pitch, uint8_t threshold);

/// Cores a detail band in place where its edge map is low: with map value m below `limit` and t = table[c] (c
/// itself outside the table), c = (t (1024 - a) + c a + 512) >> 10, a = min(m * (1024 / limit), cap); from
/// `limit` on c stays. limit >= 1, cap in 0..1024, w >= 8; a width that is no
/// multiple of 8 cores twice in the columns where the last block overlaps. Pitches in elements.
void ShrinkBand(int16_t* band, int band_pitch, const uint8_t* map, int map_pitch, int w, int h,
                const CoringTable& table, uint8_t limit, uint16_t cap);

}  // namespace zolt
