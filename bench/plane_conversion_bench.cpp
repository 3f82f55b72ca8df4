#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "session/plane_conversion.h"
#include "zolt_mfdenoise.h"

namespace zolt {
namespace {

constexpr int kWidth = 4000, kHeight = 3000;
constexpr size_t kLuma = size_t{kWidth} * kHeight;
constexpr size_t kFrame = kLuma * 3 / 2;

struct Setup {
  std::vector<uint8_t> from = std::vector<uint8_t>(kFrame, 3), to = std::vector<uint8_t>(kFrame, 4);
};

void BM_SplitChroma(benchmark::State& state) {
  Setup s;
  for (auto _ : state) {
    SplitChroma(s.from.data(), s.to.data(), kWidth, kHeight, ZOLT_MF_FORMAT_NV21);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kLuma});
}
BENCHMARK(BM_SplitChroma)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_MergeChroma(benchmark::State& state) {
  Setup s;
  for (auto _ : state) {
    MergeChroma(s.from.data(), s.to.data(), kWidth, kHeight, ZOLT_MF_FORMAT_NV21);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kLuma});
}
BENCHMARK(BM_MergeChroma)->UseRealTime()->Unit(benchmark::kMillisecond);

/// memcpy of a chroma half, in one thread: reads and writes as many bytes as a split or a merge.
void BM_MemcpyOfChroma(benchmark::State& state) {
  Setup s;
  for (auto _ : state) {
    std::memcpy(s.to.data(), s.from.data(), kLuma / 2);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kLuma});
}
BENCHMARK(BM_MemcpyOfChroma)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_CopyInThreads(benchmark::State& state) {
  Setup s;
  for (auto _ : state) {
    CopyInThreads(s.to.data(), s.from.data(), kFrame);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{2 * kFrame});
}
BENCHMARK(BM_CopyInThreads)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_MemcpyOfFrame(benchmark::State& state) {
  Setup s;
  for (auto _ : state) {
    std::memcpy(s.to.data(), s.from.data(), kFrame);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{2 * kFrame});
}
BENCHMARK(BM_MemcpyOfFrame)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zolt
