#include "fusion/wavelet_levels.h"

#include "fusion/fusion_workers.h"
#include "kernels/lifting_rows.h"

namespace zolt {
namespace {

/// body(y, left, right) for the rows of a plane whose columns are lifted: the two band rows that row y is
/// made of.
template <typename Body>
void ForBandRows(const Bands& bands, int w, int h, Body&& body) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h, worker);
    for (int64_t y = share.first; y < share.first + share.count; ++y) {
      const int lower = y < h / 2 ? 0 : 2;
      const int64_t row = (y % (h / 2)) * (w / 2);
      body(y, bands[lower] + row, bands[lower + 1] + row);
    }
  });
}

}  // namespace

uint64_t LiftForwardScratchSize(int w) {
  return kFusionWorkers * kForwardRows * static_cast<uint64_t>(w) * sizeof(int16_t);
}

void LiftForward(const uint8_t* plane, int w, int h, int16_t* region, uint8_t* scratch) {
  const Bands bands(region, w, h);
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h / 2, worker);
    const PairRange pairs = {static_cast<int>(share.first), static_cast<int>(share.first + share.count),
                             h / 2};
    int16_t* memory = reinterpret_cast<int16_t*>(scratch) + int64_t{worker} * kForwardRows * w;
    LiftPairsForward(plane, w, w, pairs, memory, [&](int i, const int16_t* low, const int16_t* high) {
      const int64_t row = int64_t{i} * (w / 2);
      LiftRowForward(low, bands[0] + row, bands[1] + row, w / 2);
      LiftRowForward(high, bands[2] + row, bands[3] + row, w / 2);
    });
  });
}

void LiftForward(int16_t* region, int w, int h, int16_t* temporary) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h / 2, worker);
    const PairRange pairs = {static_cast<int>(share.first), static_cast<int>(share.first + share.count),
                             h / 2};
    LiftColumnsForward(region, w, temporary, temporary + static_cast<int64_t>(h / 2) * w, w, w, pairs);
  });
  ForBandRows(Bands(region, w, h), w, h, [&](int64_t y, int16_t* left, int16_t* right) {
    LiftRowForward(temporary + y * w, left, right, w / 2);
  });
}

void LiftInverse(int16_t* region, int w, int h, int16_t* temporary) {
  ForBandRows(Bands(region, w, h), w, h, [&](int64_t y, const int16_t* left, const int16_t* right) {
    LiftRowInverse(left, right, temporary + y * w, w / 2);
  });
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(h / 2, worker);
    const PairRange pairs = {static_cast<int>(share.first), static_cast<int>(share.first + share.count),
                             h / 2};
    LiftColumnsInverse(temporary, temporary + static_cast<int64_t>(h / 2) * w, w, region, w, w, pairs);
  });
}

}  // namespace zolt
