#pragma once

#include <cstdint>

namespace zolt {

/// Binary dilation of a byte mask with a window of (2 radius_x + 1) x (2 radius_y + 1), cut at the frame:
/// zero pixels with any nonzero pixel in the window become 255, nonzero ones stay as they are. Takes a block
/// of the mask's size through the hooks, so only on the caller's thread; a refusal is logged and returns
/// -1000.
int32_t GhostDilate(uint8_t* mask, int row_length, int rows, int radius_x, int radius_y);

/// Binary erosion likewise: nonzero pixels with any zero pixel in the window become 0. What lies outside the
/// frame doesn't count.
int32_t GhostErode(uint8_t* mask, int row_length, int rows, int radius_x, int radius_y);

/// Luma findings in the byte form: dilated by 15 x 15, so that small ones survive, then eroded by 7 x 7.
int32_t CleanLumaMaskBytes(uint8_t* mask, int w, int h);
/// Chroma findings: eroded first, as single chroma noise pixels are to vanish before anything grows.
int32_t CleanChromaMaskBytes(uint8_t* mask, int w, int h);

/// 32-bit words of bit planes that the packed forms work in.
constexpr uint64_t CleaningWords(int w, int h) {
  return 2 * static_cast<uint64_t>((w + 31) / 32) * static_cast<uint64_t>(h);
}
/// The same cleaning on bit planes, 32 pixels to a word: the caller gives CleaningWords(w, h) words, so any
/// thread may call them, and nothing can fail.
void CleanLumaMask(uint8_t* mask, int w, int h, uint32_t* bits);
void CleanChromaMask(uint8_t* mask, int w, int h, uint32_t* bits);

}  // namespace zolt
