#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "noise/luma_gain.h"
#include "noise/temporal_merge.h"
#include "session/chroma_repair.h"

namespace zolt {
namespace {

constexpr int kWidth = 4000, kHeight = 3000;
constexpr size_t kPixels = size_t{kWidth} * kHeight;
constexpr size_t kFrame = kPixels * 3 / 2;
using Bytes = std::vector<uint8_t>;

Bytes Noise(size_t size, uint32_t seed) {
  Bytes bytes(size);
  for (uint8_t& v : bytes) v = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
  return bytes;
}

/// A fold touches two frames to read, one to write, the mask, and the map twice.
constexpr int64_t kMergeBytes = 3 * kFrame + 3 * kPixels;

/// In place as in all folds of a burst but the first, or into a plane of its own.
void BM_TemporalMerge(benchmark::State& state) {
  const bool in_place = state.range(0) != 0;
  Bytes reference = Noise(kFrame, 1), aligned = Noise(kFrame, 2), out(kFrame), mask = Noise(kPixels, 3);
  Bytes map(kPixels);
  int32_t folded = 1;
  NrStageContext context = {};
  context.images = {
      {PlanarImage(reference.data(), kWidth, kHeight), PlanarImage(aligned.data(), kWidth, kHeight)}, 2};
  context.ghost = {mask.data(), nullptr};
  context.nr.blendWeight = 192;
  context.nr.weightMap = map.data();
  context.nr.iirImgNum = &folded;
  const YuvImage output = PlanarImage(in_place ? reference.data() : out.data(), kWidth, kHeight);
  for (auto _ : state) {
    TemporalNrMaincall(context, output);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kMergeBytes);
}
BENCHMARK(BM_TemporalMerge)
    ->ArgName("in_place")
    ->Arg(0)
    ->Arg(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// The same work on one thread.
void BM_FoldRows(benchmark::State& state) {
  Bytes reference = Noise(kFrame, 1), aligned = Noise(kFrame, 2), mask = Noise(kPixels, 3), map(kPixels);
  const YuvImage image = PlanarImage(reference.data(), kWidth, kHeight);
  const FoldPlanes planes = {image, image, PlanarImage(aligned.data(), kWidth, kHeight), mask.data()};
  for (auto _ : state) {
    FoldRows(planes, map.data(), kWidth, kHeight, 192);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kMergeBytes);
}
BENCHMARK(BM_FoldRows)->Unit(benchmark::kMillisecond);

/// What as many bytes cost when nothing is computed: half of them read, half written, one thread.
void BM_MemcpyOfTemporalMerge(benchmark::State& state) {
  const Bytes from = Noise(kMergeBytes / 2, 4);
  Bytes to(from.size());
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kMergeBytes);
}
BENCHMARK(BM_MemcpyOfTemporalMerge)->Unit(benchmark::kMillisecond);

void BM_LumaEnhance(benchmark::State& state) {
  Bytes frame = Noise(kFrame, 5);
  for (auto _ : state) {
    LumaEnhance(PlanarImage(frame.data(), kWidth, kHeight), kWidth, kHeight, 17, 17);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{2 * kFrame});
}
BENCHMARK(BM_LumaEnhance)->Unit(benchmark::kMillisecond);

void BM_RepairHighlightChroma(benchmark::State& state) {
  Bytes frame = Noise(kFrame, 6);
  const Bytes snapshot = Noise(kPixels / 2, 7);
  for (auto _ : state) {
    RepairHighlightChroma(PlanarImage(frame.data(), kWidth, kHeight), snapshot.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{2 * kPixels});
}
BENCHMARK(BM_RepairHighlightChroma)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zolt
