#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "base/random.h"
#include "fusion/chroma_stage.h"
#include "fusion/exposure_fusion.h"
#include "fusion/pyramid_fusion.h"
#include "fusion/tone_matched_fusion.h"
#include "fusion/tone_matching.h"
#include "fusion/wavelet_detail_fusion.h"
#include "kernels/frame_weight.h"
#include "session/memory_plan.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

// What a frame of 4000 x 3000 is padded to before it is fused.
constexpr int kWidth = 4000, kHeight = 3008;
constexpr int64_t kPixels = int64_t{kWidth} * kHeight;
constexpr int64_t kFrame = kPixels * 3 / 2;

// Bytes per second count what a step must read and write at the least, once each, as for memcpy.
constexpr int64_t kToneBytes = 2 * kPixels / 4;                       // two channels at half size
constexpr int64_t kPyramidBytes = 3 * kFrame / 4;                     // two half-size images in, one out
constexpr int64_t kChromaBytes = kFrame / 4 + kPixels + kPixels / 8;  // half-size image, counts; chroma out
constexpr int64_t kWaveletBytes = 4 * kPixels;                        // two lumas and the counts, luma out
constexpr int64_t kFusionBytes = 3 * kFrame + kPixels;                // two frames and the counts, one frame

using Bytes = std::vector<uint8_t>;

// A planar frame of w x h: a noisy ramp of grey levels from `dark` up, chroma near grey.
Bytes NoisyFrame(int w, int h, int dark, int range) {
  const int64_t pixels = int64_t{w} * h;
  Bytes frame(static_cast<size_t>(pixels * 3 / 2));
  MultiplyWithCarry random;
  for (int64_t i = 0; i < pixels; ++i) {
    frame[i] = static_cast<uint8_t>(dark + i % w * range / w + random.Next(8));
  }
  for (size_t i = pixels; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(124 + random.Next(8));
  return frame;
}

PlaneSet Planes(Bytes& frame, int w, int h) {
  const YuvImage image = PlanarImage(frame.data(), w, h);
  return {{image.y, image.u, image.v}};
}

/// A burst of six frames whose last one is brighter, ready for the fusion.
struct Burst {
  Burst() {
    for (int i = 0; i < 40; ++i) thresholds[i] = 60;
    fusion.weightMap = weights.data();
    fusion.frameTotal = 6;
    fusion.iirImgNum = &folded;
    fusion.eighthWeight = eighth.data();
    fusion.scratch = scratch.data();
    fusion.scratchSize = scratch.size();
    fusion.bandLevels = 3;
    fusion.fusion_low = 300;
    fusion.fusion_high = 1000;
    for (int32_t& t : fusion.bandThreshold) t = 1000;
    fusion.lumaLF = -90;
    fusion.detail = -60;
    fusion.weightShift = WeightShift(6);
    fusion.chromaS = -85;
    fusion.chromaNrTable = thresholds;
    fusion.SaturationGain = 20;
    fusion.chromaDetail = 128;
    fusion.ChromaFusionFlag = 1;
    fusion.registered = 1;
    for (int32_t& threshold : fusion.deghost) threshold = 20;
    fusion.boostDetail = 1;
    fusion.detailRestore = 64;
    fusion.detailMin = 2;
    fusion.input = &input;
    fusion.iso = 1600;
  }

  /// The next call sees the same burst as the one before, and its time is not counted.
  void Restore(benchmark::State& state) {
    state.PauseTiming();
    std::memcpy(frame.data(), dark.data(), dark.size());
    std::fill(weights.begin(), weights.end(), uint8_t{100});
    state.ResumeTiming();
  }

  YuvImage image() { return PlanarImage(frame.data(), kWidth, kHeight); }
  YuvImage aligned() { return PlanarImage(bright.data(), kWidth, kHeight); }

  const Bytes dark = NoisyFrame(kWidth, kHeight, 20, 100);
  Bytes bright = NoisyFrame(kWidth, kHeight, 40, 180);
  Bytes frame = dark;
  Bytes weights = Bytes(kPixels, 100);
  Bytes eighth = Bytes(kPixels / 64, 100);
  Bytes scratch = Bytes(static_cast<size_t>(FusionMemSize(kWidth, kHeight).scratch));
  YuvImage input = aligned();
  int32_t thresholds[40];
  int32_t folded = 5;
  FusionPara fusion = {};
};

/// The workers that ExposureFusion has started before its steps run.
struct StartedPool {
  StartedPool() { DenoisePool().Start(); }
  ~StartedPool() { DenoisePool().Stop(); }
  StartedPool(const StartedPool&) = delete;
  StartedPool& operator=(const StartedPool&) = delete;
};

void BM_MemcpyOfFusion(benchmark::State& state) {
  const Bytes from(static_cast<size_t>(state.range(0) / 2), 100);
  Bytes to(from.size());
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

// One channel's table, as one of three workers makes it, smoothing included.
void BM_ToneTable(benchmark::State& state) {
  const int w = kWidth / 2, h = kHeight / 2;
  const Bytes bright = NoisyFrame(w, h, 40, 180), dark = NoisyFrame(w, h, 20, 100);
  Bytes scratch(static_cast<size_t>(w) * h / 8);
  uint8_t table[256];
  for (auto _ : state) {
    ToneFromHistogram(bright.data(), dark.data(), w, h, table, scratch.data());
    SmoothTone(table, 27);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kToneBytes);
}

// With the ghost check of ChromaFusionFlag; HDRFusionFlag is the argument.
void BM_ToneMatchedFusion(benchmark::State& state) {
  Burst burst;
  burst.fusion.HDRFusionFlag = static_cast<int32_t>(state.range(0));
  Bytes luma(kPixels);
  const uint64_t size = ToneMatchedArenaSize(kWidth, kHeight);
  Bytes arena(size);
  const StartedPool pool;
  for (auto _ : state) {
    burst.Restore(state);
    FusionPara fusion = burst.fusion;
    if (ToneMatchedFusion(burst.image(), burst.aligned(), luma.data(), &fusion, arena.data(), size) != 0) {
      state.SkipWithError("given up");
    }
  }
  state.SetBytesProcessed(state.iterations() * kFusionBytes);
}

// Its own planes are its input of the next run; the work doesn't depend on what they hold.
void BM_PyramidFusion(benchmark::State& state) {
  const int w = kWidth / 2, h = kHeight / 2;
  Bytes a = NoisyFrame(w, h, 40, 180), b = NoisyFrame(w, h, 20, 100);
  Bytes scratch(PyramidFusionScratchSize(w, h));
  const StartedPool pool;
  for (auto _ : state) {
    HdrPyramidFusion(Planes(a, w, h), Planes(b, w, h), Planes(a, w, h), w, h, scratch.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPyramidBytes);
}

void BM_ChromaStage(benchmark::State& state) {
  const int w = kWidth / 2, h = kHeight / 2;
  Burst burst;
  burst.fusion.SaturationGain = static_cast<int32_t>(state.range(0));
  Bytes in = NoisyFrame(w, h, 40, 180), out(in.size());
  Bytes scratch(ChromaStageScratchSize(kWidth, kHeight));
  const StartedPool pool;
  for (auto _ : state) {
    if (ChromaStage(burst.fusion, kWidth, kHeight, Planes(in, w, h), Planes(out, w, h), scratch.data()) !=
        0) {
      state.SkipWithError("stage failed");
    }
  }
  state.SetBytesProcessed(state.iterations() * kChromaBytes);
}

void BM_WaveletDetailFusion(benchmark::State& state) {
  Burst burst;
  Bytes luma(kPixels);
  Bytes arena(WaveletFusionArenaSize(kWidth, kHeight));
  const StartedPool pool;
  for (auto _ : state) {
    WaveletDetailFusion(burst.dark.data(), burst.bright.data(), luma.data(), arena.data(), kWidth, kHeight,
                        burst.fusion);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kWaveletBytes);
}

void RunFusion(benchmark::State& state, Burst& burst) {
  for (auto _ : state) {
    burst.Restore(state);
    if (ExposureFusion(burst.image(), burst.aligned(), burst.fusion) != 0) state.SkipWithError("given up");
  }
  state.SetBytesProcessed(state.iterations() * kFusionBytes);
}

void BM_ExposureFusion(benchmark::State& state) {
  Burst burst;
  burst.fusion.HDRFusionFlag = static_cast<int32_t>(state.range(0));
  RunFusion(state, burst);
}

// The last frame in place of the burst.
void BM_ExposureFusionStill(benchmark::State& state) {
  Burst burst;
  burst.fusion.maxShift = 1;
  burst.fusion.ghostTH = 0.1f;
  burst.fusion.lumaTH = 256;
  RunFusion(state, burst);
}

BENCHMARK(BM_MemcpyOfFusion)
    ->ArgName("bytes")
    ->Arg(kToneBytes)
    ->Arg(kPyramidBytes)
    ->Arg(kChromaBytes)
    ->Arg(kWaveletBytes)
    ->Arg(kFusionBytes)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ToneTable)->Unit(benchmark::kMillisecond);
// All that follow run on four threads.
void OnFourThreads(benchmark::internal::Benchmark* bench) {
  bench->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_ToneMatchedFusion)->ArgName("hdr")->Arg(0)->Arg(1)->Apply(OnFourThreads);
BENCHMARK(BM_PyramidFusion)->Apply(OnFourThreads);
BENCHMARK(BM_ChromaStage)->ArgName("saturation")->Arg(0)->Arg(20)->Apply(OnFourThreads);
BENCHMARK(BM_WaveletDetailFusion)->Apply(OnFourThreads);
BENCHMARK(BM_ExposureFusion)->ArgName("hdr")->Arg(0)->Arg(1)->Apply(OnFourThreads);
BENCHMARK(BM_ExposureFusionStill)->Apply(OnFourThreads);

}  // namespace
}  // namespace zolt
