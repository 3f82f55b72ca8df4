#include "fusion/finest_level.h"

#include <algorithm>

#include "base/alloc_hooks.h"
#include "base/arithmetic.h"
#include "base/vector_clones.h"
#include "fusion/band_fusion.h"
#include "fusion/fusion_workers.h"
#include "kernels/lifting_rows.h"

namespace zolt {
namespace {

constexpr int kDetailBands = 3;

uint64_t WorkerScratchSize(int w) {
  return kDetailBands * FusedBandRows::ScratchSize(w / 2) +
         2 * static_cast<uint64_t>(w / 2) * sizeof(int16_t) +
         kInverseRows * static_cast<uint64_t>(w) * sizeof(int16_t);
}

/// Rows of the level before its columns are lifted, one after the other: a worker's.
class LevelRows {
 public:
  LevelRows(const FinestLevel& level, const int32_t* thresholds, RegionCutter& cutter)
      : w_(level.w / 2),
        low_(level.low),
        along_rows_(Mixed(level, 1, thresholds[1], cutter)),
        along_columns_(Mixed(level, 2, thresholds[0], cutter)),
        along_both_(Mixed(level, 3, thresholds[2], cutter)),
        left_(cutter.Take<int16_t>(static_cast<uint64_t>(w_))),
        right_(cutter.Take<int16_t>(static_cast<uint64_t>(w_))) {}

  /// Prepares for pair `first`: for its low row, and the high row before it if there is one.
  void Start(int first) {
    low_ += static_cast<int64_t>(first) * w_;
    along_rows_.Start(first);
    along_columns_.Start(std::max(first - 1, 0));
    along_both_.Start(std::max(first - 1, 0));
  }

  void NextLow(int16_t* out) {
    along_rows_.Next(right_);
    LiftRowInverse(low_, right_, out, w_);
    low_ += w_;
  }
  void NextHigh(int16_t* out) {
    along_columns_.Next(left_);
    along_both_.Next(right_);
    LiftRowInverse(left_, right_, out, w_);
  }

 private:
  static FusedBandRows Mixed(const FinestLevel& level, int band, int32_t threshold, RegionCutter& cutter) {
    const int w = level.w / 2;
    auto* scratch =
        reinterpret_cast<uint8_t*>(cutter.Take<uint32_t>(FusedBandRows::ScratchSize(w) / sizeof(uint32_t)));
    return {level.aligned[band], level.prepared[band], w, level.h / 2, threshold, scratch};
  }

  int w_;
  const int16_t* low_;
  FusedBandRows along_rows_, along_columns_, along_both_;
  int16_t* left_;
  int16_t* right_;
};

/// What a pixel of the filtered luma weighs beside the prepared one: the frames folded there, capped, and
/// less in blacks. All in 16 bits, and modulo 2^16.
ZOLT_VECTOR_CLONES void FinishRun(const int16_t* __restrict filtered, const uint8_t* __restrict prepared,
                                  const uint8_t* __restrict folded, uint8_t* __restrict out, int64_t count,
                                  uint8_t cap, int shift) {
  const auto full = static_cast<uint16_t>((1 << shift) - 1), half = static_cast<uint16_t>(1 << (shift - 1));
  for (int64_t i = 0; i < count; ++i) {
    const uint16_t r = SaturateU8(filtered[i]);
    const auto frames = static_cast<uint16_t>(std::min(folded[i], cap));
    const auto product = static_cast<uint16_t>(std::min<uint16_t>(r, 32) * frames + 16);
    const auto w = static_cast<uint16_t>(product >> 5);
    const auto rest = static_cast<uint16_t>(full - w);
    const auto sum = static_cast<uint16_t>(static_cast<uint16_t>(r * rest) +
                                           static_cast<uint16_t>(prepared[i] * w) + half);
    out[i] = static_cast<uint8_t>(sum >> shift);
  }
}

/// The finish of one row after the other.
class RowFinish {
 public:
  RowFinish(const FinestLevel& level, const FusionPara& fusion) : level_(level), fusion_(fusion) {
    const int share = (std::min<int>(fusion.detailRestore, 128) << fusion.weightShift) >> 7;
    cap_ = static_cast<uint8_t>(std::max(share - 1, 0));
  }

  void operator()(const int16_t* filtered, int row) const {
    const int64_t start = static_cast<int64_t>(row) * level_.w;
    FinishRun(filtered, level_.luma + start, fusion_.weightMap + start, level_.out + start, level_.w, cap_,
              fusion_.weightShift);
  }

 private:
  const FinestLevel& level_;
  const FusionPara& fusion_;
  uint8_t cap_;
};

void FinishPairs(const FinestLevel& level, const int32_t* thresholds, const RowFinish& finish,
                 PairRange pairs, uint8_t* scratch) {
  RegionCutter cutter(scratch, WorkerScratchSize(level.w));
  LevelRows rows(level, thresholds, cutter);
  auto* memory = cutter.Take<int16_t>(kInverseRows * static_cast<uint64_t>(level.w));
  rows.Start(pairs.first);
  LiftPairsInverse(
      level.w, pairs, memory, [&](int, int16_t* out) { rows.NextLow(out); },
      [&](int, int16_t* out) { rows.NextHigh(out); }, [&](int y, const int16_t* row) { finish(row, y); });
}

}  // namespace

uint64_t FinestLevelScratchSize(int w) {
  return kFusionWorkers * WorkerScratchSize(w);
}

void FinishFinestLevel(const FinestLevel& level, const int32_t* thresholds, const FusionPara& fusion,
                       uint8_t* scratch) {
  const RowFinish finish(level, fusion);
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(level.h / 2, worker);
    if (share.count == 0) return;
    const int first = static_cast<int>(share.first), last = first + static_cast<int>(share.count);
    FinishPairs(level, thresholds, finish, {first, last, level.h / 2},
                scratch + static_cast<uint64_t>(worker) * WorkerScratchSize(level.w));
  });
}

}  // namespace zolt
