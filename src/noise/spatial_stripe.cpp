#include "noise/spatial_stripe.h"

#include <cstddef>

#include "base/result_codes.h"
#include "kernels/blur121.h"
#include "kernels/box_downscale.h"
#include "kernels/edge_chroma_return.h"
#include "kernels/pseudo_median.h"
#include "kernels/sobel_magnitude.h"
#include "kernels/threshold_dilate.h"
#include "kernels/upscale2.h"
#include "kernels/upscale_mask4.h"
#include "noise/chroma_boost.h"
#include "noise/wavelet.h"

namespace zolt {
namespace {

constexpr uint8_t kFinestEdge = 10;  // the level with the finest detail trusts weaker edges
constexpr uint8_t kCoarseEdge = 20;
constexpr uint8_t kStrongEdge = 50;     // edges from here on are not cored,
constexpr uint16_t kWeakEdgeCap = 614;  // and below it at most 60 per cent (of 1024) of a coefficient is kept
constexpr uint8_t kChromaEdge = 50;

// Rows at an end of a band that can't reach the core rows through the levels below, for an overlap given in
// image rows.
int SkippedRows(int overlap, int level) {
  const int rows = overlap >> level;
  if (level == 1) return rows <= 1 ? 0 : rows - 1;
  return rows < 3 ? 0 : rows - 2;
}

struct BandRows {
  int first;
  int count;
};

BandRows UnskippedRows(const StripeRows& rows, int level) {
  const int top = SkippedRows(rows.topOverlap, level);
  const int bottom = SkippedRows(rows.bottomOverlap, level);
  return {top, (rows.height >> level) - top - bottom};
}

// Cores the three detail bands of a level under the edges of its low-pass band.
void CoreLevel(const SpatialStripe& s, int level) {
  const StripeScratch& m = s.scratch;
  const int w = s.width >> level;
  const int h = s.rows.height >> level;
  const int pitch = s.width;
  EdgeMapSobel(m.band, m.maps, w, h, pitch, level == 1 ? kFinestEdge : kCoarseEdge);
  if (level == 1) Box2Down(m.maps.mapD, w, m.lumaEdge, w, h);

  const CoringTable& table = s.settings->coring[level - 1];
  const auto [first, count] = UnskippedRows(s.rows, level);
  const ptrdiff_t map_at = static_cast<ptrdiff_t>(first) * w;
  int16_t* upper = m.band + static_cast<ptrdiff_t>(first) * pitch;
  int16_t* lower = upper + static_cast<ptrdiff_t>(h) * pitch;
  ShrinkBand(upper + w, pitch, m.maps.mapH + map_at, w, w, count, table, kStrongEdge, kWeakEdgeCap);
  ShrinkBand(lower, pitch, m.maps.mapV + map_at, w, w, count, table, kStrongEdge, kWeakEdgeCap);
  ShrinkBand(lower + w, pitch, m.maps.mapD + map_at, w, w, count, table, kStrongEdge, kWeakEdgeCap);
}

void SmoothLowBand(const SpatialStripe& s) {
  const RecursiveTables& t = s.settings->low_band;
  const auto [first, count] = UnskippedRows(s.rows, 1);
  const int w = s.width / 2;
  int16_t* band = s.scratch.band + static_cast<ptrdiff_t>(first) * s.width;
  int32_t* state = s.scratch.row_state;
  RecursiveForward(state, t.tableStep, t.tableStep, t.tableBack, band, s.width, band, s.width, w, count);
  RecursiveBackward(state, t.tableStep, t.tableStep, t.tableBack, band, s.width, band, s.width, w, count);
}

// Leaves the filtered core rows in `filtered`, and the luma edges in `lumaEdge`.
void FilterLuma(const SpatialStripe& s) {
  const StripeScratch& m = s.scratch;
  const int w = s.width;
  const int h = s.rows.height;
  // Of stripes of 64 rows and more a map and the mask, which are made later, hold the rows.
  auto* forward_rows = reinterpret_cast<int16_t*>(m.maps.mapH);
  auto* inverse_rows = reinterpret_cast<int16_t*>(m.mask);
  if (s.settings->median) {
    PseudoMedian3x3(s.y, w, m.temporary, w, w, h, reinterpret_cast<uint8_t*>(m.row_state));
    WaveletForward(m.temporary, w, h, m.band, forward_rows);
  } else {
    WaveletForward(s.y, w, h, m.band, forward_rows);
  }
  const int levels = s.settings->level == SpatialLevel::kLow ? 3 : 1;
  for (int k = 1; k < levels; ++k) WaveletForward(m.band, w >> k, h >> k, w, m.temporary);
  for (int level = levels; level > 1; --level) {
    CoreLevel(s, level);
    WaveletInverse(m.band, w >> (level - 1), h >> (level - 1), w, m.temporary);
  }
  SmoothLowBand(s);
  CoreLevel(s, 1);
  WaveletInverse(m.band, w, h, s.rows.topOverlap, s.rows.core(), m.filtered, inverse_rows);
}

// Where colours change, and, in a scene that is bright enough, where luma does.
void FindChromaEdges(const SpatialStripe& s, int w, int h) {
  const StripeScratch& m = s.scratch;
  ChromaMagnitude(m.u_down, m.v_down, m.magnitude, w, h, w);
  Blur121(m.magnitude, m.magnitude, m.spare, w, h, w, w, w);
  SobelMagnitude(m.magnitude, m.chroma_edge, w, h, w, w);
  if (s.settings->luma_edges) SaturatingAdd(m.chroma_edge, m.lumaEdge, w, h);
}

void ShrinkChroma(const SpatialStripe& s, int w, int h) {
  const StripeScratch& m = s.scratch;
  const SpatialSettings& t = *s.settings;
  ToQ7(m.u_down, m.chroma_work, w, h);
  if (t.level == SpatialLevel::kLow) {
    Box4Down(s.weightMap, s.rows.height, s.width, m.quarter_weight);
    ChromaShrinkFirst(m.chroma_work, m.chroma_edge, m.quarter_weight, w, h, t.chroma, t.shift, m.noise_map,
                      m.chroma_levels, t.chroma_thresholds, m.u_low);
  } else {
    ChromaShrinkFirstPlain(m.chroma_work, m.chroma_edge, w, h, t.chroma, m.noise_map, m.chroma_levels,
                           t.chroma_thresholds, m.u_low);
  }
  FromQ7(m.chroma_work, m.u_out, w, h);
  ToQ7(m.v_down, m.chroma_work, w, h);
  ChromaShrinkSecond(m.chroma_work, w, h, t.chroma, m.noise_map, m.chroma_levels, t.chroma_thresholds,
                     m.v_low);
  FromQ7(m.chroma_work, m.v_out, w, h);
}

// Leaves the stripe's filtered chroma, at half the size of its planes, in `u_out` and `v_out`.
int32_t FilterChroma(const SpatialStripe& s) {
  const StripeScratch& m = s.scratch;
  const SpatialSettings& t = *s.settings;
  const int w = s.width / 4;
  const int h = s.rows.height / 4;
  Box2Down(s.u, 2 * w, m.u_down, 2 * w, 2 * h);
  Box2Down(s.v, 2 * w, m.v_down, 2 * w, 2 * h);
  FindChromaEdges(s, w, h);
  ShrinkChroma(s, w, h);
  if (const int32_t status = ThresholdDilate(m.chroma_edge, w, h, kChromaEdge, m.spare); status != kOk) {
    return status;
  }
  EdgeChromaReturn(m.u_low, m.v_low, m.u_out, m.v_out, m.chroma_edge, w, h, t.edge_chroma_weight);
  ChromaBoost(m.u_out, m.v_out, w, h, t.boost_level);
  return kOk;
}

UpscaleEdges EdgesOf(const StripeRows& rows) {
  if (rows.topOverlap == 0) return rows.bottomOverlap == 0 ? UpscaleEdges::kBoth : UpscaleEdges::kFirst;
  return rows.bottomOverlap == 0 ? UpscaleEdges::kLast : UpscaleEdges::kNone;
}

void WriteChroma(const SpatialStripe& s) {
  const int w = s.width / 4;
  const ptrdiff_t from = static_cast<ptrdiff_t>(s.rows.topOverlap >> 2) * w;
  const ptrdiff_t to = static_cast<ptrdiff_t>(s.rows.topOverlap >> 1) * 2 * w;
  const UpscaleEdges edges = EdgesOf(s.rows);
  Upscale2(s.scratch.u_out + from, s.rows.core() / 4, w, s.u + to, 2 * w, edges);
  Upscale2(s.scratch.v_out + from, s.rows.core() / 4, w, s.v + to, 2 * w, edges);
}

// Turns the luma edges into the mask of what comes back at the high level.
void MakeReturnMask(const SpatialStripe& s) {
  const StripeScratch& m = s.scratch;
  const EdgeReturnSettings& e = s.settings->edge_return;
  const int w = s.width / 4;
  const int h = s.rows.height / 4;
  GaussianGate(m.lumaEdge, w, w, h, e.sigma, e.centre);
  ScaleByLuma(m.lumaEdge, m.meanLuma, w, h, e.knee);
  if (s.settings->median) {
    PseudoMedian3x3(m.lumaEdge, w, m.lumaEdge, w, w, h, reinterpret_cast<uint8_t*>(m.row_state));
  }
  UpscaleMask4Rows(m.lumaEdge, h, w, s.rows.topOverlap, s.rows.core(), m.mask);
}

void WriteLuma(const SpatialStripe& s) {
  const StripeScratch& m = s.scratch;
  const SpatialSettings& t = *s.settings;
  const int w = s.width;
  const ptrdiff_t core = static_cast<ptrdiff_t>(s.rows.topOverlap) * w;
  if (t.level == SpatialLevel::kLow) {
    DetailReturnByWeight(s.y + core, m.filtered, s.weightMap + core, w, s.rows.core(), t.return_limit,
                         t.shift);
    return;
  }
  MakeReturnMask(s);
  DetailReturnByMask(s.y + core, m.filtered, m.mask, w, s.rows.core(), w, t.edge_return.peak,
                     t.edge_return.strength);
}

}  // namespace

SpatialStripe MakeSpatialStripe(const YuvImage& image, const uint8_t* weightMap,
                                const SpatialSettings& settings, StripeBarrier* barrier,
                                const StripeRows& rows, RegionCutter* cutter) {
  const ptrdiff_t luma = static_cast<ptrdiff_t>(rows.first) * image.width;
  return {.settings = &settings,
          .barrier = barrier,
          .rows = rows,
          .width = image.width,
          .y = image.y + luma,
          .u = image.u + luma / 4,
          .v = image.v + luma / 4,
          .weightMap = weightMap + luma,
          .scratch = TakeStripeScratch(cutter, rows, image.width)};
}

int32_t RunSpatialStripe(const SpatialStripe& stripe) {
  const SpatialSettings& settings = *stripe.settings;
  FilterLuma(stripe);
  int32_t status = kOk;
  if (settings.filter_chroma) status = FilterChroma(stripe);
  if (settings.return_luma && settings.level == SpatialLevel::kHigh) {
    Box4Down(stripe.y, stripe.rows.height, stripe.width, stripe.scratch.meanLuma);
  }
  // Up to here a stripe has read its neighbours' rows; from here on they are overwritten.
  stripe.barrier->Arrive();
  if (status != kOk) return status;
  if (!stripe.barrier->Wait()) return kOk;
  if (settings.filter_chroma) WriteChroma(stripe);
  if (settings.return_luma) WriteLuma(stripe);
  return kOk;
}

}  // namespace zolt
