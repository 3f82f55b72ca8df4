#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "base/random.h"
#include "kernels/lifting53.h"
#include "kernels/pseudo_median.h"
#include "kernels/recursive_filter.h"
#include "noise/coring.h"
#include "noise/spatial_scratch.h"
#include "noise/spatial_stage.h"
#include "noise/wavelet.h"

namespace zolt {
namespace {

// Bytes per second count what a kernel must read and write at the least, once each, as for memcpy.
constexpr int kWidth = 4000, kHeight = 3000;
constexpr int64_t kPixels = int64_t{kWidth} * kHeight;

// Grey values of a noisy ramp, as the kernels meet them.
template <typename T>
std::vector<T> NoisyRamp(int w, int h) {
  std::vector<T> plane(static_cast<size_t>(w) * h);
  MultiplyWithCarry random;
  for (size_t i = 0; i < plane.size(); ++i) plane[i] = static_cast<T>(40 + i % w * 150 / w + random.Next(20));
  return plane;
}

void BM_SpatialLumaMemcpy(benchmark::State& state) {
  const auto source = NoisyRamp<int16_t>(kWidth, kHeight);
  std::vector<int16_t> destination(source.size());
  for (auto _ : state) {
    std::memcpy(destination.data(), source.data(), source.size() * 2);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 4 * kPixels);
}

void BM_PseudoMedian3x3(benchmark::State& state) {
  const auto source = NoisyRamp<uint8_t>(kWidth, kHeight);
  std::vector<int16_t> destination(source.size());
  std::vector<uint8_t> rows(3 * kWidth);
  for (auto _ : state) {
    PseudoMedian3x3(source.data(), kWidth, destination.data(), kWidth, kWidth, kHeight, rows.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * kPixels);
}

// The finest level, 8 bits in and out: 3 bytes a sample.
void BM_WaveletForwardOf8Bits(benchmark::State& state) {
  const auto source = NoisyRamp<uint8_t>(kWidth, kHeight);
  std::vector<int16_t> plane(source.size()), rows(3 * kWidth);
  for (auto _ : state) {
    WaveletForward(source.data(), kWidth, kHeight, plane.data(), rows.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * kPixels);
}

void BM_WaveletInverseTo8Bits(benchmark::State& state) {
  const auto plane = NoisyRamp<int16_t>(kWidth, kHeight);
  std::vector<int16_t> rows(6 * kWidth);
  std::vector<uint8_t> destination(plane.size());
  for (auto _ : state) {
    WaveletInverse(plane.data(), kWidth, kHeight, 0, kHeight, destination.data(), rows.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * kPixels);
}

// Coarser levels: two passes, plane to temporary and back, 8 bytes a sample.
void BM_WaveletForward(benchmark::State& state) {
  auto plane = NoisyRamp<int16_t>(kWidth, kHeight);
  std::vector<int16_t> temporary(plane.size());
  for (auto _ : state) {
    WaveletForward(plane.data(), kWidth, kHeight, kWidth, temporary.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 8 * kPixels);
}

void BM_WaveletInverse(benchmark::State& state) {
  auto plane = NoisyRamp<int16_t>(kWidth, kHeight);
  std::vector<int16_t> temporary(plane.size());
  for (auto _ : state) {
    WaveletInverse(plane.data(), kWidth, kHeight, kWidth, temporary.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 8 * kPixels);
}

// On the low-pass band of the first level, a quarter of the samples.
void BM_EdgeMapSobel(benchmark::State& state) {
  const int w = kWidth / 2, h = kHeight / 2;
  const auto band = NoisyRamp<int16_t>(w, h);
  std::vector<uint8_t> maps(3 * band.size());
  const EdgeMaps three = {maps.data(), maps.data() + band.size(), maps.data() + 2 * band.size()};
  for (auto _ : state) {
    EdgeMapSobel(band.data(), three, w, h, w, 10);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 5 * w * h);
}

void BM_ShrinkBand(benchmark::State& state) {
  const int w = kWidth / 2, h = kHeight / 2;
  auto band = NoisyRamp<int16_t>(w, h);
  std::vector<uint8_t> map(band.size());
  MultiplyWithCarry random;
  for (uint8_t& m : map) m = static_cast<uint8_t>(random.Next(60));
  CoringTable table;
  BuildCoringLut(&table, 0);  // keeps the band as it is from run to run
  for (auto _ : state) {
    ShrinkBand(band.data(), w, map.data(), w, w, h, table, 50, 614);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 5 * w * h);
}

// Both passes.
void BM_RecursiveFilter(benchmark::State& state) {
  const int w = kWidth / 2, h = kHeight / 2;
  const auto source = NoisyRamp<int16_t>(w, h);
  std::vector<int16_t> between(source.size()), destination(source.size());
  std::vector<int32_t> row(w);
  RecursiveTables t;
  BuildRecursiveLut(&t, 20, 6500);
  for (auto _ : state) {
    RecursiveForward(row.data(), t.tableStep, t.tableStep, t.tableBack, source.data(), w, between.data(), w,
                     w, h);
    RecursiveBackward(row.data(), t.tableStep, t.tableStep, t.tableBack, between.data(), w,
                      destination.data(), w, w, h);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 8 * w * h);
}

void BM_SpatialTables(benchmark::State& state) {
  CoringTable table;
  RecursiveTables recursive;
  for (auto _ : state) {
    for (int level = 0; level < 3; ++level) BuildCoringLut(&table, 60 + level);
    BuildRecursiveLut(&recursive, 20, 6500);
    benchmark::ClobberMemory();
  }
}

// A whole stage with its four threads; bytes of the frame in and out.
template <int32_t (*Stage)(const NrStageContext&, const YuvImage&)>
void BM_SpatialStage(benchmark::State& state) {
  const int w = kWidth / 16 * 16, h = kHeight / 16 * 16;
  auto frame = NoisyRamp<uint8_t>(w, h * 3 / 2);
  std::vector<uint8_t> weights(static_cast<size_t>(w) * h, 100);
  std::vector<uint8_t> scratch(static_cast<size_t>(SpatialScratchBytes(w, h)));
  const std::vector<int32_t> thresholds(40, 60);
  NrStageContext context = {};
  context.fusionScratch = scratch.data();
  context.fusionScratchSize = scratch.size();
  NrParameters& nr = context.nr;
  nr.weightMap = weights.data();
  nr.chromaNrLUT = thresholds.data();
  nr.frameTotal = 5;
  nr.lumaLF = -80;
  nr.lumaHF1 = nr.lumaHF2 = nr.lumaHF3 = -60;
  nr.chromaS = -50;
  nr.detail = -60;
  nr.stageSwitchA = nr.stageSwitchB = 1;
  nr.peakLevel = 120;
  nr.enhancementLevel = 3;
  nr.chromaDetail = 128;
  for (auto _ : state) {
    if (Stage(context, PlanarImage(frame.data(), w, h)) != 0) state.SkipWithError("stage failed");
  }
  state.SetBytesProcessed(state.iterations() * 2 * static_cast<int64_t>(frame.size()));
}

BENCHMARK(BM_SpatialLumaMemcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PseudoMedian3x3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WaveletForwardOf8Bits)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WaveletInverseTo8Bits)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WaveletForward)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WaveletInverse)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EdgeMapSobel)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ShrinkBand)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RecursiveFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SpatialTables)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SpatialStage<SpatialNrLowLevelMainCall>)
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SpatialStage<SpatialNrHighLevelMainCall>)
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zolt
