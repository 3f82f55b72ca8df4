#include <benchmark/benchmark.h>

#include <cstring>
#include <functional>
#include <vector>

#include "kernels/atrous_smooth.h"
#include "kernels/chroma_shrink.h"
#include "kernels/edge_chroma_return.h"
#include "kernels/sobel_magnitude.h"
#include "kernels/upscale2.h"
#include "noise/chroma_boost.h"
#include "noise/detail_return.h"

// Kernels of the chroma path and of luma detail return at the sizes they have in a 4000 x 3000 frame. The
// bytes counted are those that a kernel must read and write at least; BM_Memcpy counts both ways too.

namespace zolt {
namespace {

constexpr int kWidth = 4000, kHeight = 3000;
constexpr int kSmallWidth = kWidth / 4, kSmallHeight = kHeight / 4;
constexpr int64_t kArea = int64_t{kWidth} * kHeight;
constexpr int64_t kSmallArea = int64_t{kSmallWidth} * kSmallHeight;

/// Smoothly varying values with some noise on them, as denoised planes have.
template <typename T>
std::vector<T> Plane(int64_t size, int scale = 1) {
  std::vector<T> plane(static_cast<size_t>(size));
  uint32_t state = 1;
  for (size_t i = 0; i < plane.size(); ++i) {
    state = state * 1664525u + 1013904223u;
    plane[i] = static_cast<T>((100 + static_cast<int>(i / 500 % 60) + static_cast<int>(state >> 28)) * scale);
  }
  return plane;
}

void Measure(benchmark::State& state, int64_t bytes, const std::function<void()>& kernel) {
  for (auto _ : state) {
    kernel();
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes);
}

void BM_Memcpy(benchmark::State& state) {
  const auto size = state.range(0);
  const auto from = Plane<uint8_t>(size);
  std::vector<uint8_t> to(from.size());
  Measure(state, 2 * size, [&] { std::memcpy(to.data(), from.data(), from.size()); });
}
BENCHMARK(BM_Memcpy)->Arg(kSmallArea)->Arg(2 * kSmallArea)->Arg(kArea);

void BM_SobelMagnitude(benchmark::State& state) {
  const auto from = Plane<uint8_t>(kSmallArea);
  auto to = from;
  Measure(state, 2 * kSmallArea, [&] {
    SobelMagnitude(from.data(), to.data(), kSmallWidth, kSmallHeight, kSmallWidth, kSmallWidth);
  });
}
BENCHMARK(BM_SobelMagnitude);

void BM_AtrousSmooth(benchmark::State& state) {
  const auto from = Plane<int16_t>(kSmallArea, 128);
  auto to = from, rows = from;
  const auto hole = static_cast<int>(state.range(0));
  Measure(state, 4 * kSmallArea, [&] {
    AtrousSmooth(from.data(), kSmallWidth, to.data(), kSmallWidth, rows.data(), kSmallWidth, kSmallWidth,
                 kSmallHeight, hole);
  });
}
BENCHMARK(BM_AtrousSmooth)->Arg(1)->Arg(4)->Arg(16);

/// The whole shrink of a plane: five smoothings, five thresholds; counted as one pass over the plane.
void BM_ChromaShrink(benchmark::State& state) {
  auto cw = Plane<int16_t>(kSmallArea, 128);
  auto work = Plane<int16_t>(3 * kSmallArea);
  const auto edge = Plane<uint8_t>(kSmallArea), wq = edge;
  auto noise = Plane<uint16_t>(kSmallArea);
  auto low_pass = edge;
  const std::vector<int32_t> table(40, 60);
  const ChromaSettings settings = ChromaSettingsFromStrength(-10, 1228);
  Measure(state, 4 * kSmallArea, [&] {
    if (state.range(0) == 0) {
      ChromaShrinkFirst(cw.data(), edge.data(), wq.data(), kSmallWidth, kSmallHeight, settings, 7,
                        noise.data(), work.data(), table.data(), low_pass.data());
    } else {
      ChromaShrinkSecond(cw.data(), kSmallWidth, kSmallHeight, settings, noise.data(), work.data(),
                         table.data(), low_pass.data());
    }
  });
}
BENCHMARK(BM_ChromaShrink)->ArgName("second")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_ChromaMagnitude(benchmark::State& state) {
  const auto u = Plane<uint8_t>(kSmallArea), v = u;
  auto to = u;
  Measure(state, 3 * kSmallArea,
          [&] { ChromaMagnitude(u.data(), v.data(), to.data(), kSmallWidth, kSmallHeight, kSmallWidth); });
}
BENCHMARK(BM_ChromaMagnitude);

void BM_SaturatingAdd(benchmark::State& state) {
  auto a = Plane<uint8_t>(kSmallArea);
  const auto b = a;
  Measure(state, 3 * kSmallArea, [&] { SaturatingAdd(a.data(), b.data(), kSmallWidth, kSmallHeight); });
}
BENCHMARK(BM_SaturatingAdd);

void BM_Q7(benchmark::State& state) {
  auto grey = Plane<uint8_t>(kSmallArea);
  std::vector<int16_t> q7(grey.size());
  Measure(state, 6 * kSmallArea, [&] {
    ToQ7(grey.data(), q7.data(), kSmallWidth, kSmallHeight);
    FromQ7(q7.data(), grey.data(), kSmallWidth, kSmallHeight);
  });
}
BENCHMARK(BM_Q7);

void BM_EdgeChromaReturn(benchmark::State& state) {
  const auto low = Plane<uint8_t>(kSmallArea), mask = low;
  auto u = low, v = low;
  Measure(state, 7 * kSmallArea, [&] {
    EdgeChromaReturn(low.data(), low.data(), u.data(), v.data(), mask.data(), kSmallWidth, kSmallHeight, 96);
  });
}
BENCHMARK(BM_EdgeChromaReturn);

void BM_ChromaBoost(benchmark::State& state) {
  auto u = Plane<uint8_t>(kSmallArea), v = u;
  Measure(state, 4 * kSmallArea, [&] { ChromaBoost(u.data(), v.data(), kSmallWidth, kSmallHeight, 3); });
}
BENCHMARK(BM_ChromaBoost);

void BM_Upscale2(benchmark::State& state) {
  const auto from = Plane<uint8_t>(kSmallArea);
  std::vector<uint8_t> to(4 * from.size());
  Measure(state, 5 * kSmallArea, [&] {
    Upscale2(from.data(), kSmallHeight, kSmallWidth, to.data(), 2 * kSmallWidth, UpscaleEdges::kBoth);
  });
}
BENCHMARK(BM_Upscale2);

void BM_DetailReturnByWeight(benchmark::State& state) {
  auto y = Plane<uint8_t>(kArea);
  const auto f = y, weight = y;
  Measure(state, 4 * kArea,
          [&] { DetailReturnByWeight(y.data(), f.data(), weight.data(), kWidth, kHeight, 100, 7); });
}
BENCHMARK(BM_DetailReturnByWeight)->Unit(benchmark::kMillisecond);

void BM_DetailReturnByMask(benchmark::State& state) {
  auto y = Plane<uint8_t>(kArea);
  const auto f = y, mask = y;
  Measure(state, 4 * kArea,
          [&] { DetailReturnByMask(y.data(), f.data(), mask.data(), kWidth, kHeight, kWidth, 130, 76); });
}
BENCHMARK(BM_DetailReturnByMask)->Unit(benchmark::kMillisecond);

void BM_GaussianGate(benchmark::State& state) {
  auto plane = Plane<uint8_t>(kSmallArea);
  Measure(state, 2 * kSmallArea,
          [&] { GaussianGate(plane.data(), kSmallWidth, kSmallWidth, kSmallHeight, 600, 150); });
}
BENCHMARK(BM_GaussianGate);

void BM_ScaleByLuma(benchmark::State& state) {
  auto plane = Plane<uint8_t>(kSmallArea);
  const auto luma = plane;
  Measure(state, 3 * kSmallArea,
          [&] { ScaleByLuma(plane.data(), luma.data(), kSmallWidth, kSmallHeight, 180); });
}
BENCHMARK(BM_ScaleByLuma);

}  // namespace
}  // namespace zolt
