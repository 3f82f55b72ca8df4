#include "ghost/ghost_bands.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

#include "base/alloc_hooks.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "ghost/difference_mask.h"
#include "ghost/mask_cleaning.h"
#include "kernels/blur121.h"
#include "kernels/upscale_mask4.h"
#include "threads/fork_join.h"

namespace zolt {
namespace {

constexpr uint64_t kCacheLine = 64;  ///< left free between bands, so that no two threads write to one line

/// Working memory of one band.
struct BandMemory {
  uint32_t* bits;
  DifferenceRows rows;
  uint8_t* luma;  ///< quarter-size masks, w / 4 columns
  uint8_t* chroma[2];
  uint8_t* smoothing;  ///< as large as the luma mask

  static uint64_t Size(int w, const GhostBand& band);
  BandMemory(uint8_t* begin, int w, const GhostBand& band);
};

uint64_t BandMemory::Size(int w, const GhostBand& band) {
  const int columns = w >> 2, luma_rows = band.height >> 2;
  const uint64_t pixels =
      static_cast<uint64_t>(columns) * static_cast<uint64_t>(2 * luma_rows + band.chroma_rows);
  const uint64_t bytes =
      CleaningWords(columns, luma_rows) * sizeof(uint32_t) + DifferenceRows::Size(columns) + pixels;
  return (bytes + 2 * kCacheLine - 1) / kCacheLine * kCacheLine;
}

BandMemory::BandMemory(uint8_t* begin, int w, const GhostBand& band) {
  const int columns = w >> 2, luma_rows = band.height >> 2;
  const auto luma_pixels = static_cast<uint64_t>(columns) * static_cast<uint64_t>(luma_rows);
  const auto chroma_pixels = static_cast<uint64_t>(columns) * static_cast<uint64_t>(band.chroma_rows >> 1);
  RegionCutter cutter(begin, Size(w, band));
  bits = cutter.Take<uint32_t>(CleaningWords(columns, luma_rows));
  rows = DifferenceRows::Cut(&cutter, &cutter, columns);
  luma = cutter.Take<uint8_t>(luma_pixels);
  for (uint8_t*& plane : chroma) plane = cutter.Take<uint8_t>(chroma_pixels);
  smoothing = cutter.Take<uint8_t>(luma_pixels);
}

/// What the four threads share; each writes its own count and its own rows of the map.
struct BandsJob {
  const GhostStageInput* input;
  uint8_t* map;
  uint8_t* memory[GhostBand::kCount];
  uint32_t counts[GhostBand::kCount];
};

void FindLuma(const GhostStageInput& input, const GhostBand& band, const BandMemory& memory) {
  const int w = input.images.images[0].width;
  const GhostThresholds& t = input.thresholds;
  const ptrdiff_t offset = static_cast<ptrdiff_t>(band.first_row) * w;
  const PlanePair planes = {input.images.images[1].y + offset, input.firstImages.images[0].y + offset, w,
                            band.height};
  DifferenceMask(planes, MaskScale::kQuarter, {t.lumaTH_Low, t.lumaTH_High, t.lumaNoiseTH}, memory.rows,
                 memory.luma);
  CleanLumaMask(memory.luma, w >> 2, band.height >> 2, memory.bits);
}

void FindChroma(const GhostStageInput& input, const GhostBand& band, const BandMemory& memory) {
  const int w = input.images.images[0].width;
  const GhostThresholds& t = input.thresholds;
  const ptrdiff_t offset = static_cast<ptrdiff_t>(band.chroma_first_row) * (w / 2);
  const YuvImage &aligned = input.images.images[1], &first = input.firstImages.images[0];
  for (int i = 0; i < 2; ++i) {
    const PlanePair planes = {(i == 0 ? aligned.u : aligned.v) + offset,
                              (i == 0 ? first.u : first.v) + offset, w / 2, band.chroma_rows};
    DifferenceMask(planes, MaskScale::kHalf, {t.chromaTH_Low, t.chromaTH_High, t.chromaNoiseTH}, memory.rows,
                   memory.chroma[i]);
    CleanChromaMask(memory.chroma[i], w >> 2, band.chroma_rows >> 1, memory.bits);
  }
}

/// Adds the chroma findings to the luma mask over the rows that chroma covers. The chroma masks begin at
/// their row 0, (top_skip >> 2) - chroma_top_skip / 2 rows into the luma mask: with heights of 8 mod 16 the
/// band's skips are no multiples of four, and these quotients are what puts both findings in the same place.
void JoinFindings(const GhostBand& band, int columns, const BandMemory& memory) {
  const int above = band.chroma_top_skip / 2;
  const int joined_rows = above + (band.core_rows >> 2) + band.chroma_bottom_skip / 2;
  const ptrdiff_t count = static_cast<ptrdiff_t>(joined_rows) * columns;
  uint8_t* __restrict luma = memory.luma + static_cast<ptrdiff_t>((band.top_skip >> 2) - above) * columns;
  const uint8_t* __restrict u = memory.chroma[0];
  const uint8_t* __restrict v = memory.chroma[1];
  for (ptrdiff_t i = 0; i < count; ++i) luma[i] = static_cast<uint8_t>(luma[i] | u[i] | v[i]);
}

/// Full-resolution pixels of the joined mask's core.
uint32_t CountCore(const GhostBand& band, int columns, const uint8_t* mask) {
  const uint8_t* core = mask + static_cast<ptrdiff_t>(band.top_skip >> 2) * columns;
  const ptrdiff_t pixels = static_cast<ptrdiff_t>(band.core_rows >> 2) * columns;
  uint32_t set = 0;
  for (ptrdiff_t i = 0; i < pixels; ++i) set += core[i] & 1u;
  return set * 16;
}

int32_t RunBand(void* argument, int32_t index) {
  auto* job = static_cast<BandsJob*>(argument);
  const YuvImage& size = job->input->images.images[0];
  const GhostBand band = GhostBand::Of(size.height, index);
  const int columns = size.width >> 2, rows = band.height >> 2;
  const BandMemory memory(job->memory[index], size.width, band);
  FindLuma(*job->input, band, memory);
  FindChroma(*job->input, band, memory);
  JoinFindings(band, columns, memory);
  job->counts[index] = CountCore(band, columns, memory.luma);
  Blur121(memory.luma, memory.luma, memory.smoothing, columns, rows, columns, columns, columns);
  // The core's rows straight into the map: a full-size band would be the largest buffer of the stage.
  uint8_t* core = job->map + static_cast<ptrdiff_t>(index) * band.core_rows * size.width;
  UpscaleMask4Rows(memory.luma, rows, columns, band.top_skip, band.core_rows, core);
  return kOk;
}

}  // namespace

GhostBand GhostBand::Of(int h, int index) {
  const int q = h >> 2, c = h >> 3;
  const int overlap = ((q + 67) & ~3) - q, chroma_overlap = ((c + 17) & ~1) - c;
  const bool top = index == 0, bottom = index == kCount - 1, edge = top || bottom;
  GhostBand band;
  band.first_row = top ? 0 : index * q - overlap;
  band.height = edge ? q + overlap : (q + 131) & ~3;
  band.top_skip = top ? 0 : overlap;
  band.core_rows = q;
  band.chroma_first_row = top ? 0 : index * c - chroma_overlap;
  band.chroma_rows = edge ? c + chroma_overlap : (c + 33) & ~1;
  band.chroma_top_skip = top ? 0 : chroma_overlap;
  band.chroma_bottom_skip = bottom ? 0 : top ? chroma_overlap : 16;
  return band;
}

uint64_t GhostBandsScratch(int w, int h) {
  uint64_t size = 0;
  for (int i = 0; i < GhostBand::kCount; ++i) size += BandMemory::Size(w, GhostBand::Of(h, i));
  return size;
}

int32_t GhostDetectionBands(const GhostStageInput& input, const GhostMask& mask) {
  const int w = input.images.images[0].width, h = input.images.images[0].height;
  if (w <= 255 || h <= 255) return GhostDetectionFullLuma(input, mask);
  if (input.enabled != 1) return kOk;
  const StageScratch scratch(input.scratch, input.scratchSize, GhostBandsScratch(w, h), kDenoisePool);
  if (!scratch) {
    LogError("Memery Allocating Error!");
    return kNoMemory;
  }
  BandsJob job = {&input, mask.map, {}, {}};
  uint8_t* next = scratch.data();
  for (int i = 0; i < GhostBand::kCount; ++i) {
    job.memory[i] = next;
    next += BandMemory::Size(w, GhostBand::Of(h, i));
  }
  int32_t statuses[GhostBand::kCount];
  if (!ForkJoin(RunBand, &job, GhostBand::kCount, statuses)) {
    LogError("Thread Create Error!");
    return kThreadFailure;
  }
  *mask.count = job.counts[0] + job.counts[1] + job.counts[2] + job.counts[3];
  return std::any_of(statuses, statuses + GhostBand::kCount, [](int32_t s) { return s != kOk; }) ? 1 : 0;
}

}  // namespace zolt
