#include "noise/spatial_scratch.h"

#include <algorithm>
#include <cassert>

namespace zolt {
namespace {

// Quarter-size planes in one stripe: three maps of four each, and the luma edges behind them.
constexpr int kMapPlanes = 13;

int64_t Area(const StripeRows& rows, int32_t width) {
  return int64_t{rows.height} * width;
}

// The chroma planes start where the edge maps did; those are dead by then.
void PlaceChroma(StripeScratch* s, uint8_t* first, int64_t quarter) {
  uint8_t* next = first;
  for (uint8_t** plane : {&s->u_down, &s->v_down, &s->magnitude, &s->spare, &s->chroma_edge, &s->u_out,
                          &s->v_out, &s->u_low, &s->v_low, &s->quarter_weight, &s->meanLuma}) {
    *plane = next;
    next += quarter;
  }
  assert(next <= s->lumaEdge);
}

}  // namespace

std::array<StripeRows, kSpatialStripes> SpatialStripeRows(int32_t height) {
  assert(height >= 256 && height % 16 == 0);
  const int32_t q = height >> 2;
  const int32_t outer = (q + 79) & ~15;
  const int32_t inner = (q + 143) & ~15;
  const int32_t outer_overlap = outer - q;
  const int32_t inner_overlap = inner - q - 64;
  std::array<StripeRows, kSpatialStripes> stripes = {{
      {0, outer, 0, outer_overlap},
      {q - inner_overlap, inner, inner_overlap, 64},
      {2 * q - inner_overlap, inner, inner_overlap, 64},
      {3 * q - outer_overlap, outer, outer_overlap, 0},
  }};
  for (StripeRows& rows : stripes) {
    // An overlap ends at the image's top.
    const int32_t missing = std::max(-rows.first, 0);
    rows.first += missing;
    rows.height -= missing;
    rows.topOverlap -= missing;
  }
  return stripes;
}

int64_t StripeScratchBytes(const StripeRows& rows, int32_t width) {
  const int64_t area = Area(rows, width);
  const int64_t quarter = area / 16;
  return 4 * area + 4 * std::max(rows.height, width) + 2 * quarter + kMapPlanes * quarter;
}

StripeScratch TakeStripeScratch(RegionCutter* cutter, const StripeRows& rows, int32_t width) {
  const int64_t area = Area(rows, width);
  const int64_t quarter = area / 16;
  StripeScratch s;
  s.band = cutter->Take<int16_t>(area);
  s.temporary = cutter->Take<int16_t>(area);
  s.row_state = cutter->Take<int32_t>(std::max(rows.height, width));
  s.noise_map = cutter->Take<uint16_t>(quarter);
  auto* maps = cutter->Take<uint8_t>(kMapPlanes * quarter);
  s.maps = {maps, maps + 4 * quarter, maps + 8 * quarter};
  s.lumaEdge = maps + 12 * quarter;
  s.chroma_work = s.band;
  s.chroma_levels = s.band + quarter;
  s.filtered = reinterpret_cast<uint8_t*>(s.temporary);
  s.mask = s.filtered + area;
  PlaceChroma(&s, maps, quarter);
  return s;
}

int64_t SpatialScratchBytes(int32_t width, int32_t height) {
  int64_t bytes = 0;
  for (const StripeRows& rows : SpatialStripeRows(height)) bytes += StripeScratchBytes(rows, width);
  return bytes;
}

}  // namespace zolt
