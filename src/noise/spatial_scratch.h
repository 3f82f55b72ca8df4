#pragma once

#include <array>
#include <cstdint>

#include "base/alloc_hooks.h"
#include "noise/coring.h"

namespace zolt {

inline constexpr int kSpatialStripes = 4;

/// The rows of an image that one thread of a spatial stage filters: its own ones, which it writes, and the
/// neighbours' rows that it needs around them. The two overlaps count those.
struct StripeRows {
  int32_t first;   ///< image row, overlap included
  int32_t height;  ///< a multiple of 8
  int32_t topOverlap;
  int32_t bottomOverlap;

  int32_t core() const { return height - topOverlap - bottomOverlap; }
};

/// Cuts an image of `height` rows (a multiple of 16, from 256 up) into stripes with a quarter of the rows
/// each and overlaps of 64 to 79 rows. Heights are multiples of 16, but for 272 rows, where the second stripe
/// reaches the image's top and ends up 200 rows high.
std::array<StripeRows, kSpatialStripes> SpatialStripeRows(int32_t height);

/// One stripe's working memory, with S = stripe height * width and Q = S / 16. Regions are used again as the
/// chain of kernels goes on: the comments name all the tenants in turn.
struct StripeScratch {
  int16_t* band;        ///< S samples: the wavelet plane; then the chroma work planes, Q and 3Q samples
  int16_t* temporary;   ///< S samples: the wavelet's temporary; then filtered luma and mask, S bytes each
  int32_t* row_state;   ///< max(stripe height, width) words: the recursive filter's; rows for the medians
  uint16_t* noise_map;  ///< Q samples
  EdgeMaps maps;        ///< 4Q bytes each; then the chroma planes below
  uint8_t* lumaEdge;    ///< Q bytes: luma edges at a quarter of the size, from the wavelet to the end

  int16_t* chroma_work;    ///< in `band`
  int16_t* chroma_levels;  ///< in `band`
  uint8_t* filtered;       ///< in `temporary`: core rows only
  uint8_t* mask;           ///< in `temporary`: core rows only

  // Q bytes each, where the edge maps were.
  uint8_t *u_down, *v_down;  ///< chroma at half its size
  uint8_t* magnitude;        ///< how far from grey
  uint8_t* spare;            ///< temporary of the plane kernels
  uint8_t* chroma_edge;      ///< edge strength, then the binary mask
  uint8_t *u_out, *v_out;    ///< shrunk chroma
  uint8_t *u_low, *v_low;    ///< its low-pass
  uint8_t* quarter_weight;   ///< frame counts at a quarter of the size (low level)
  uint8_t* meanLuma;         ///< luma at a quarter of the size (high level)
};

/// Bytes that a stripe needs, a multiple of 4, and the cut of a block of at least as many.
int64_t StripeScratchBytes(const StripeRows& rows, int32_t width);
StripeScratch TakeStripeScratch(RegionCutter* cutter, const StripeRows& rows, int32_t width);

/// Of all stripes of an image; sides as SpatialStripeRows takes them. Both levels need the same.
int64_t SpatialScratchBytes(int32_t width, int32_t height);

}  // namespace zolt
