#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace zolt {

// How much of the accumulated luma Y comes back into the filtered luma F, decided per pixel: by the number of
// merged frames where many were merged, otherwise by a mask of the filter's own edges. Planes are bytes.

/// Return by frame count, in place: with a = (min(f, 16) * min(weight_map, limit) + 8) >> 4 (at most 255;
/// less in the very dark), y = (f * ((1 << shift) - a) + y * a + (1 << (shift - 1))) >> shift, computed
/// modulo 2^16 and kept to 8 bits, also where a exceeds 1 << shift. All pitches are w >= 8, shift is 5 to 8;
/// a width that is no multiple of 8 blends twice in the columns where the last block overlaps.
void DetailReturnByWeight(uint8_t* y, const uint8_t* f, const uint8_t* weight_map, int w, int h,
                          uint8_t limit, int shift);

/// The return at edges as the tuning's `detail` (-128 most, 0 none) sets it.
struct EdgeReturnSettings {
  uint8_t centre;     ///< edge strength that the gate favours
  uint8_t peak;       ///< mask value that returns most
  int32_t knee;       ///< brightness from which the mask stays whole
  uint16_t strength;  ///< share at the peak, 128 is all
  int32_t sigma;      ///< width of the gate; negative only for a detail far out of range: no gate
};

/// Any detail; arithmetic out of the tuning's range wraps in 32 bits.
EdgeReturnSettings EdgeReturnFromDetail(int32_t detail);

/// Favours edges about as strong as `centre`, in place: p becomes trunc(p * exp(-0.5 (p - centre)^2 /
/// sigma^2)) by a table that `allocate` provides for the call. With sigma below 0, or when the table is
/// refused, the plane stays as it is.
void GaussianGate(uint8_t* plane, int pitch, int w, int h, int32_t sigma, uint8_t centre,
                  void* (*allocate)(size_t, size_t) = std::calloc);

/// Reduces the mask in the dark, in place: plane = (plane * m) >> 15 with m = min(mean_luma * (32768 / knee),
/// 32768). A knee below 128 does nothing. Pitches are w >= 8; a width that is no multiple of 8 scales twice
/// in the columns where the last block overlaps.
void ScaleByLuma(uint8_t* plane, const uint8_t* mean_luma, int w, int h, int32_t knee);

/// Return by mask, in place: with t = max(peak - |peak - mask|, 0), u = t * (32768 / peak) and the share in
/// Q15 v = (u * strength + 64) >> 7, y = (f * (32768 - v) + y * v + 16384) >> 15. So moderate edges get most
/// back, the strongest less, as they stand out in f already. y's and mask's pitch is `pitch`, f's too; w >=
/// 8; a width that is no multiple of 8 blends twice in the columns where the last block overlaps.
void DetailReturnByMask(uint8_t* y, const uint8_t* f, const uint8_t* mask, int w, int h, int pitch,
                        uint8_t peak, uint16_t strength);

}  // namespace zolt
