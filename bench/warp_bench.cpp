#include "registration/warp.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "base/random.h"

namespace zolt {
namespace {

constexpr int kWidth = 4000, kHeight = 3000;
constexpr int64_t kFrameBytes = int64_t{kWidth} * kHeight * 3 / 2;

std::vector<uint8_t> RandomFrame() {
  std::vector<uint8_t> frame(kFrameBytes);
  MultiplyWithCarry random;
  for (uint8_t& v : frame) v = static_cast<uint8_t>(random.Next(256));
  return frame;
}

/// Bytes per second count the frame once as read and once as written, as for memcpy below. The argument is a
/// hand's rotation in hundredths of a degree.
void BM_Warp(benchmark::State& state) {
  std::vector<uint8_t> from = RandomFrame(), to(kFrameBytes);
  const YuvImage current = PlanarImage(from.data(), kWidth, kHeight);
  const YuvImage aligned = PlanarImage(to.data(), kWidth, kHeight);
  const double angle = static_cast<double>(state.range(0)) / 100 * 3.14159265358979 / 180;
  const auto c = static_cast<float>(std::cos(angle)), s = static_cast<float>(std::sin(angle));
  const float x0 = kWidth / 2.0f, y0 = kHeight / 2.0f;
  const float homography[9] = {c, -s, x0 - c * x0 + s * y0, s, c, y0 - s * x0 - c * y0, 1e-7f, 1e-7f, 1};
  const int32_t rect[4] = {80, 80, kWidth - 160, kHeight - 160};
  std::vector<float> columns(WarpColumns(rect[2]));
  for (auto _ : state) {
    WarpFrame(current, aligned, homography, rect, columns.data(), 2);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 2 * kFrameBytes);
}
BENCHMARK(BM_Warp)->Arg(0)->Arg(20)->Arg(100)->MeasureProcessCPUTime()->UseRealTime()->Unit(
    benchmark::kMillisecond);

void BM_WarpMemcpy(benchmark::State& state) {
  std::vector<uint8_t> from = RandomFrame(), to(kFrameBytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), kFrameBytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 2 * kFrameBytes);
}
BENCHMARK(BM_WarpMemcpy)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zolt
