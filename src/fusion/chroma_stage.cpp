#include "fusion/chroma_stage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/result_codes.h"
#include "fusion/fusion_workers.h"
#include "fusion/saturation.h"
#include "kernels/blur121.h"
#include "kernels/box_downscale.h"
#include "kernels/chroma_shrink.h"
#include "kernels/edge_chroma_return.h"
#include "kernels/sobel_magnitude.h"
#include "kernels/threshold_dilate.h"

namespace zolt {
namespace {

constexpr int kMostOverlap = 128;
constexpr uint8_t kEdgeThreshold = 50;
constexpr int32_t kFloor = 1228;  // what the noise map falls to on an edge: frame counts are known here

/// Rows of one worker's stripe, counted in chroma rows of the half-size image (a quarter of the frame's).
struct StripeRows {
  StripeRows(int h, int worker) {
    const int quarter = h / 4;
    const int overlap = std::min(quarter, kMostOverlap);
    own = h / 16;
    before = worker == 0 ? 0 : overlap / 4;
    first = worker * own - before;
    const int frame_rows = quarter + (worker == 0 || worker == kFusionWorkers - 1 ? overlap : 2 * overlap);
    count = frame_rows / 4;
  }
  int first;   ///< in the image
  int count;   ///< with overlaps
  int before;  ///< leading overlap
  int own;
};

/// A worker's planes. Those behind the filter are read when all workers are through with the image's own.
struct StripePlanes {
  static uint64_t Pixels(int w, int h) {
    const int quarter = h / 4;
    const int most = (quarter + 2 * std::min(quarter, kMostOverlap)) / 4;
    return static_cast<uint64_t>(w / 4) * static_cast<uint64_t>(most);
  }
  static uint64_t Bytes(int w, int h) { return (21 * Pixels(w, h) + 3) / 4 * 4; }

  StripePlanes(uint8_t* memory, int w, int h) {
    RegionCutter cutter(memory, Bytes(w, h));
    const uint64_t pixels = Pixels(w, h);
    q7 = cutter.Take<int16_t>(pixels);
    work = cutter.Take<int16_t>(3 * pixels);
    noise = cutter.Take<uint16_t>(pixels);
    for (uint8_t** plane : {&magnitude, &temporary, &edge, &folded, &u, &v, &low_u, &low_v, &hue}) {
      *plane = cutter.Take<uint8_t>(pixels);
    }
  }

  int16_t* q7;
  int16_t* work;
  uint16_t* noise;
  uint8_t* magnitude;
  uint8_t* temporary;
  uint8_t* edge;
  uint8_t* folded;
  uint8_t* u;
  uint8_t* v;
  uint8_t* low_u;
  uint8_t* low_v;
  uint8_t* hue;
};

/// What all workers share.
struct ChromaJob {
  const FusionPara& fusion;
  int w, h;
  PlaneSet in, out;
  uint8_t* scratch;
  SaturationPeaks peaks[kFusionWorkers] = {};
  int32_t results[kFusionWorkers] = {};
  SaturationCurve curve;

  StripePlanes planes(int worker) const {
    return {scratch + static_cast<uint64_t>(worker) * StripePlanes::Bytes(w, h), w, h};
  }
  bool saturates() const { return fusion.SaturationGain != 0; }
};

// Edges of the stripe's chroma and the frame counts at its size.
void FindEdges(const ChromaJob& job, const StripeRows& rows, const StripePlanes& planes) {
  const int w = job.w / 4;
  const int64_t start = static_cast<int64_t>(rows.first) * w;
  ChromaMagnitude(job.in.plane[1] + start, job.in.plane[2] + start, planes.magnitude, w, rows.count, w);
  Blur121(planes.magnitude, planes.magnitude, planes.temporary, w, rows.count, w, w, w);
  SobelMagnitude(planes.magnitude, planes.edge, w, rows.count, w, w);
  Box4Down(job.fusion.weightMap + 4 * static_cast<int64_t>(rows.first) * job.w, 4 * rows.count, job.w,
           planes.folded);
}

void ShrinkChroma(const ChromaJob& job, const StripeRows& rows, const StripePlanes& planes) {
  const FusionPara& fusion = job.fusion;
  const int w = job.w / 4;
  const int64_t start = static_cast<int64_t>(rows.first) * w;
  const ChromaSettings settings = ChromaSettingsFromStrength(fusion.chromaS, kFloor);
  ToQ7(job.in.plane[1] + start, planes.q7, w, rows.count);
  ChromaShrinkFirst(planes.q7, planes.edge, planes.folded, w, rows.count, settings, fusion.weightShift,
                    planes.noise, planes.work, fusion.chromaNrTable, planes.low_u);
  FromQ7(planes.q7, planes.u, w, rows.count);
  ToQ7(job.in.plane[2] + start, planes.q7, w, rows.count);
  ChromaShrinkSecond(planes.q7, w, rows.count, settings, planes.noise, planes.work, fusion.chromaNrTable,
                     planes.low_v);
  FromQ7(planes.q7, planes.v, w, rows.count);
}

// Luma of the chroma pixel (x, row): at the even column of the even row of its 2 x 2 block.
const uint8_t* LumaRow(const ChromaJob& job, int row) {
  return job.in.plane[0] + 2 * static_cast<int64_t>(row) * (job.w / 2);
}

// Hues of the stripe, overlaps included, and how far each reaches from grey.
void MeasureHues(const ChromaJob& job, const StripeRows& rows, const StripePlanes& planes,
                 SaturationPeaks* peaks) {
  const int w = job.w / 4;
  for (int r = 0; r < rows.count; ++r) {
    const uint8_t* luma = LumaRow(job, rows.first + r);
    for (int x = 0; x < w; ++x) {
      const int64_t i = static_cast<int64_t>(r) * w + x;
      const int u = planes.u[i];
      const int v = planes.v[i];
      planes.hue[i] = Hue(luma[2 * x], u, v);
      int32_t& peak = peaks->peak[planes.hue[i]];
      peak = std::max({peak, std::abs(u - 128), std::abs(v - 128)});
    }
  }
}

// First round: everything that reads the image.
int32_t FilterStripe(ChromaJob* job, int worker) {
  const StripeRows rows(job->h, worker);
  const StripePlanes planes = job->planes(worker);
  FindEdges(*job, rows, planes);
  ShrinkChroma(*job, rows, planes);
  const int32_t result =
      ThresholdDilate(planes.edge, job->w / 4, rows.count, kEdgeThreshold, planes.temporary);
  if (result == kOk && job->saturates()) MeasureHues(*job, rows, planes, &job->peaks[worker]);
  return result;
}

// Second round: everything that acts on single pixels, on the worker's own rows, into the result.
void PublishStripe(const ChromaJob& job, int worker) {
  if (job.results[worker] != kOk) return;
  const StripeRows rows(job.h, worker);
  const StripePlanes planes = job.planes(worker);
  const int w = job.w / 4;
  const int64_t skip = static_cast<int64_t>(rows.before) * w;
  uint8_t* u = planes.u + skip;
  uint8_t* v = planes.v + skip;
  if (job.saturates()) {
    for (int r = 0; r < rows.own; ++r) {
      const uint8_t* luma = LumaRow(job, rows.first + rows.before + r);
      for (int x = 0; x < w; ++x) {
        const int64_t i = static_cast<int64_t>(r) * w + x;
        StretchSaturation(job.curve, planes.hue[skip + i], luma[2 * x], u + i, v + i);
      }
    }
  }
  const auto weight = static_cast<uint8_t>(Clamp(job.fusion.chromaDetail, 0, 255));
  EdgeChromaReturn(planes.low_u + skip, planes.low_v + skip, u, v, planes.edge + skip, w, rows.own, weight);
  const int64_t start = static_cast<int64_t>(worker) * rows.own * w;
  const auto bytes = static_cast<size_t>(rows.own) * static_cast<size_t>(w);
  std::memcpy(job.out.plane[1] + start, u, bytes);
  std::memcpy(job.out.plane[2] + start, v, bytes);
}

}  // namespace

uint64_t ChromaStageScratchSize(int w, int h) {
  return kFusionWorkers * StripePlanes::Bytes(w, h);
}

int32_t ChromaStage(const FusionPara& fusion, int w, int h, const PlaneSet& in, const PlaneSet& out,
                    uint8_t* scratch) {
  ChromaJob job = {fusion, w, h, in, out, scratch, {}, {}, {}};
  // Two rounds instead of one with a wait inside: no worker writes a row that another one still filters with,
  // and the hue tables are complete when they are read.
  OnFusionWorkers([&](int worker) { job.results[worker] = FilterStripe(&job, worker); });
  if (job.saturates()) {
    SaturationPeaks maxSat = job.peaks[0];
    for (const SaturationPeaks& other : job.peaks) {
      for (int hue = 0; hue < 256; ++hue) maxSat.peak[hue] = std::max(maxSat.peak[hue], other.peak[hue]);
    }
    job.curve = MakeSaturationCurve(maxSat, fusion.SaturationGain);
  }
  OnFusionWorkers([&](int worker) { PublishStripe(job, worker); });
  return job.results[kFusionWorkers - 1];
}

}  // namespace zolt
