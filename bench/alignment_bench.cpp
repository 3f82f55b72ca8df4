#include "burst/alignment/alignment.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/random.h"
#include "burst/alignment/pyramid.h"
#include "burst/alignment/warp.h"

namespace zolt {
namespace {

/// A picture of random rectangles with noise, and the same turned by half a degree and shifted: what a hand
/// does between two frames. The argument is the width; 4:3.
struct Pair {
  explicit Pair(int w) : width(w), height(w * 3 / 4), reference(Size()), frame(Size()), out(Size()) {
    MultiplyWithCarry random;
    const auto draw = [&](int bound) { return static_cast<int>(random.Next(static_cast<uint32_t>(bound))); };
    std::fill(reference.begin(), reference.end(), uint8_t{128});
    for (size_t i = 0; i < Size() / 1500; ++i) {
      const int side = 8 + draw(40), x0 = draw(width - side), y0 = draw(height - side),
                level = 20 + draw(216);
      for (int y = y0; y < y0 + side; ++y)
        std::memset(&reference[static_cast<size_t>(y) * width + x0], level, side);
    }
    WarpPlane(Plane(frame), {}, View(reference), motion, {}, 2);
    for (std::vector<uint8_t>* picture : {&reference, &frame}) {
      for (uint8_t& v : *picture) v = static_cast<uint8_t>(std::clamp(v + draw(9) + draw(9) - 8, 0, 255));
    }
  }
  size_t Size() const { return static_cast<size_t>(width) * height; }
  PlaneView View(const std::vector<uint8_t>& picture) const { return {picture.data(), width, height, width}; }
  MutablePlane Plane(std::vector<uint8_t>& picture) const { return {picture.data(), width, height, width}; }

  int width, height;
  Homography motion = {{0.99996, -0.0087, 24.3, 0.0087, 0.99996, -13.8, 1e-7, -1e-7}};
  std::vector<uint8_t> reference, frame, out;
};

Pair& PairOf(int width) {
  static Pair small(1632), large(4000);
  return width == small.width ? small : large;
}

void BM_AlignmentReference(benchmark::State& state) {
  const Pair& pair = PairOf(static_cast<int>(state.range(0)));
  AlignmentReference reference;
  for (auto _ : state) {
    if (!reference.Prepare(pair.View(pair.reference), AlignmentCare::kThorough,
                           static_cast<int>(state.range(1))))
      state.SkipWithError("no memory");
  }
}

void BM_Pyramid(benchmark::State& state) {
  const Pair& pair = PairOf(static_cast<int>(state.range(0)));
  Pyramid pyramid;
  for (auto _ : state) pyramid.Build(pair.View(pair.reference), static_cast<int>(state.range(1)));
}

void BM_Align(benchmark::State& state) {
  const Pair& pair = PairOf(static_cast<int>(state.range(0)));
  AlignmentReference reference;
  reference.Prepare(pair.View(pair.reference), AlignmentCare::kThorough);
  for (auto _ : state) {
    const Alignment alignment =
        Align(reference, pair.View(pair.frame), nullptr, static_cast<int>(state.range(1)));
    if (!alignment.aligned) state.SkipWithError("not aligned");
  }
}

/// A whole frame: luma and two planes of chroma, which are as much as half a luma plane.
void BM_WarpFrame(benchmark::State& state) {
  Pair& pair = PairOf(static_cast<int>(state.range(0)));
  const Homography chroma = ForPlane(pair.motion, kChromaGrid, kChromaGrid);
  const int w = pair.width / 2, h = pair.height / 2, threads = static_cast<int>(state.range(1));
  std::vector<uint8_t> outside(pair.Size());
  for (auto _ : state) {
    WarpPlane(pair.Plane(pair.out), pair.Plane(outside), pair.View(pair.reference), pair.motion, {}, threads);
    for (int plane = 0; plane < 2; ++plane) {
      WarpPlane({pair.out.data(), w, h, w}, {}, {pair.reference.data(), w, h, w}, chroma, {}, threads);
    }
  }
}

void BM_CopyFrame(benchmark::State& state) {
  Pair& pair = PairOf(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::memcpy(pair.out.data(), pair.reference.data(), pair.Size());
    std::memcpy(pair.out.data(), pair.frame.data(), pair.Size() / 2);
    benchmark::ClobberMemory();
  }
}

#define ZOLT_SIZES(name)              \
  BENCHMARK(name)                     \
      ->MeasureProcessCPUTime()       \
      ->UseRealTime()                 \
      ->Unit(benchmark::kMillisecond) \
      ->ArgsProduct({{1632, 4000}, {1, 2}})
ZOLT_SIZES(BM_AlignmentReference);
ZOLT_SIZES(BM_Pyramid);
ZOLT_SIZES(BM_Align);
ZOLT_SIZES(BM_WarpFrame);
BENCHMARK(BM_CopyFrame)->UseRealTime()->Unit(benchmark::kMillisecond)->Arg(1632)->Arg(4000);

}  // namespace
}  // namespace zolt
