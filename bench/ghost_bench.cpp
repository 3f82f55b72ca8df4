#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "base/random.h"
#include "ghost/difference_mask.h"
#include "ghost/ghost_bands.h"
#include "ghost/ghost_detection.h"
#include "ghost/mask_cleaning.h"
#include "kernels/blur121.h"
#include "kernels/box_downscale.h"
#include "kernels/threshold_dilate.h"
#include "kernels/upscale_mask4.h"

namespace zolt {
namespace {

constexpr int kWidth = 4000, kHeight = 3000;
constexpr int64_t kPixels = int64_t{kWidth} * kHeight;

std::vector<uint8_t> Noise(int64_t count, uint32_t range) {
  std::vector<uint8_t> plane(static_cast<size_t>(count));
  MultiplyWithCarry random;
  for (uint8_t& v : plane) v = static_cast<uint8_t>(100 + random.Next(range));
  return plane;
}

/// A mask with a moved object of a third of each side.
std::vector<uint8_t> ObjectMask(int w, int h) {
  std::vector<uint8_t> mask(static_cast<size_t>(w) * h, 0);
  for (int y = h / 3; y < 2 * h / 3; ++y) std::memset(&mask[static_cast<size_t>(y) * w + w / 3], 255, w / 3);
  return mask;
}

/// What the stage cannot do without: reading two frames once. The copy reads as many bytes as both
/// downscales.
void BM_GhostReadBytesMemcpy(benchmark::State& state) {
  const std::vector<uint8_t> source = Noise(3 * kPixels, 16);
  std::vector<uint8_t> destination(source.size());
  for (auto _ : state) {
    std::memcpy(destination.data(), source.data(), source.size());
    benchmark::DoNotOptimize(destination.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * kPixels);
}
BENCHMARK(BM_GhostReadBytesMemcpy)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_GhostDetection(benchmark::State& state) {
  std::vector<uint8_t> first = Noise(3 * kPixels / 2, 8), aligned = Noise(3 * kPixels / 2, 9);
  for (int y = kHeight / 3; y < 2 * kHeight / 3; ++y)
    std::memset(&aligned[int64_t{y} * kWidth + 1000], 200, 1300);
  std::vector<uint8_t> map(kPixels), room(GhostBandsScratch(kWidth, kHeight) + 3);
  uint32_t count = 0;
  GhostStageInput input = {};
  input.images.images[0] = input.firstImages.images[0] = PlanarImage(first.data(), kWidth, kHeight);
  input.images.images[1] = PlanarImage(aligned.data(), kWidth, kHeight);
  input.enabled = 1;
  input.thresholds = {15, 20, 60, 10, 15, 128};
  input.scratch = room.data();
  input.scratchSize = room.size();
  for (auto _ : state) benchmark::DoNotOptimize(GhostDetectionBands(input, {map.data(), &count}));
  state.counters["moved"] = count;
  state.SetBytesProcessed(state.iterations() * 3 * kPixels);
}
BENCHMARK(BM_GhostDetection)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

void BM_DifferenceMask(benchmark::State& state) {
  const auto scale = static_cast<MaskScale>(state.range(0));
  const std::vector<uint8_t> first = Noise(kPixels, 8), aligned = Noise(kPixels, 9);
  const int columns = kWidth / static_cast<int>(scale), rows = kHeight / static_cast<int>(scale);
  std::vector<uint8_t> mask(static_cast<size_t>(columns) * rows), block(DifferenceRows::Size(columns));
  RegionCutter cutter(block.data(), block.size());
  const DifferenceRows work = DifferenceRows::Cut(&cutter, &cutter, columns);
  for (auto _ : state) {
    DifferenceMask({aligned.data(), first.data(), kWidth, kHeight}, scale, {15, 20, 60}, work, mask.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 2 * kPixels);
}
BENCHMARK(BM_DifferenceMask)->Arg(4)->Arg(2)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Box4Down(benchmark::State& state) {
  const std::vector<uint8_t> source = Noise(kPixels, 100);
  std::vector<uint8_t> out(kPixels / 16);
  for (auto _ : state) {
    Box4Down(source.data(), kHeight, kWidth, out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPixels);
}
BENCHMARK(BM_Box4Down)->Unit(benchmark::kMillisecond);

void BM_Box2Down(benchmark::State& state) {
  const std::vector<uint8_t> source = Noise(kPixels, 100);
  std::vector<uint8_t> out(kPixels / 4);
  for (auto _ : state) {
    Box2Down(source.data(), kWidth, out.data(), kWidth, kHeight);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPixels);
}
BENCHMARK(BM_Box2Down)->Unit(benchmark::kMillisecond);

void BM_CleanLumaMask(benchmark::State& state) {
  const int w = kWidth / 4, h = kHeight / 4;
  const std::vector<uint8_t> mask = ObjectMask(w, h);
  std::vector<uint8_t> work(mask.size());
  std::vector<uint32_t> bits(CleaningWords(w, h));
  for (auto _ : state) {
    work = mask;
    CleanLumaMask(work.data(), w, h, bits.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_CleanLumaMask)->Unit(benchmark::kMillisecond);

void BM_ThresholdDilate(benchmark::State& state) {
  const std::vector<uint8_t> mask = ObjectMask(kWidth / 4, kHeight / 4);
  std::vector<uint8_t> work(mask.size());
  for (auto _ : state) {
    work = mask;
    benchmark::DoNotOptimize(ThresholdDilate(work.data(), kWidth / 4, kHeight / 4, 50, nullptr));
  }
}
BENCHMARK(BM_ThresholdDilate)->Unit(benchmark::kMillisecond);

void BM_Blur121(benchmark::State& state) {
  std::vector<uint8_t> plane = Noise(kPixels, 100), temporary(plane.size());
  for (auto _ : state) {
    Blur121(plane.data(), plane.data(), temporary.data(), kWidth, kHeight, kWidth, kWidth, kWidth);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPixels);
}
BENCHMARK(BM_Blur121)->Unit(benchmark::kMillisecond);

void BM_UpscaleMask4(benchmark::State& state) {
  const std::vector<uint8_t> mask = ObjectMask(kWidth / 4, kHeight / 4);
  std::vector<uint8_t> map(kPixels);
  for (auto _ : state) {
    UpscaleMask4(mask.data(), kHeight / 4, kWidth / 4, map.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPixels);
}
BENCHMARK(BM_UpscaleMask4)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zolt
