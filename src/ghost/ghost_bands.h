#pragma once

#include <cstdint>

#include "ghost/ghost_detection.h"

namespace zolt {

/// One of the four bands that a large frame is cut into: an image of its own, overlapping its neighbours by
/// 64 luma rows or more, so that filter and morphology leave no seam in the core rows. Chroma rows are those
/// of the half-size planes.
struct GhostBand {
  static constexpr int kCount = 4;
  int first_row;
  int height;
  int top_skip;   ///< luma rows above the core
  int core_rows;  ///< rows of the map that the band writes, a quarter of the frame
  int chroma_first_row;
  int chroma_rows;
  int chroma_top_skip;
  int chroma_bottom_skip;

  /// Band `index` of a frame of height h, a multiple of 8 above 256.
  static GhostBand Of(int h, int index);
};

/// Bytes of working memory that all four bands take together, for frames above 256 in both directions.
uint64_t GhostBandsScratch(int w, int h);

}  // namespace zolt
