#include "registration/registration.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "base/alloc_hooks.h"
#include "base/random.h"
#include "kernels/box_downscale.h"
#include "registration/descriptors.h"
#include "registration/keypoint_detection.h"
#include "registration/registration_arena.h"
#include "session/memory_plan.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

constexpr int kWidth = 4000, kHeight = 3000;
constexpr int kMargin = 16;

/// Rectangles of random grey on top of each other: enough corners to fill
/// most of the keypoint list.
std::vector<uint8_t> MakeScene(int w, int h) {
  std::vector<uint8_t> scene(static_cast<size_t>(w) * h, 128);
  MultiplyWithCarry random;
  const auto draw = [&](int bound) { return static_cast<int>(random.Next(static_cast<uint32_t>(bound))); };
  for (int i = 0; i < w * h / 1500; ++i) {
    const int side_x = 8 + draw(40), side_y = 8 + draw(40), x0 = draw(w - side_x), y0 = draw(h - side_y);
    const int level = 20 + draw(216);
    for (int y = y0; y < y0 + side_y; ++y)
      std::memset(&scene[static_cast<size_t>(y) * w + x0], level, side_x);
  }
  return scene;
}

/// Two views of the scene, shifted by a hand's tremor, and registration's memory.
struct Views {
  Views()
      : arena_block(
            static_cast<size_t>(RegistrationHead(kWidth, kHeight) - int64_t{3} * kWidth * kHeight / 2)),
        room(static_cast<size_t>(RegistrationMemSize(kWidth, kHeight).scratch)),
        aligned(static_cast<size_t>(kWidth) * kHeight * 3 / 2) {
    const int pitch = kWidth + kMargin;
    const auto scene = MakeScene(pitch, kHeight + kMargin);
    for (int k = 0; k < 2; ++k) {
      frames[k].assign(aligned.size(), 128);
      for (int y = 0; y < kHeight; ++y) {
        std::memcpy(&frames[k][static_cast<size_t>(y) * kWidth],
                    &scene[static_cast<size_t>(y + 7 * k) * pitch + 11 * k], kWidth);
      }
      reduced[k].resize(static_cast<size_t>(size.pixels()));
      Box4Down(frames[k].data(), kHeight, kWidth, reduced[k].data());
    }
    work = CutCurrentWork(room.data(), size);
    CutArena(arena_block.data(), arena_block.size(), kWidth, kHeight, &arena);
  }
  DetectionImage Image(int k) const { return {reduced[k].data(), size.width, size.height}; }
  /// Keypoints and descriptors of view k into `list`.
  void Describe(int k, FeatureList* list) {
    const IntegralImage integral = BuildIntegralImage(Image(k), work.integral);
    list->count = DetectKeypoints(integral, 200.0f, work.buffers, list->keypoints);
    DescribeKeypoints(Image(k), *list, DefaultHooks());
  }

  DetectionSize size = DetectionSizeOf(kWidth, kHeight);
  std::vector<uint8_t> arena_block, room, aligned, frames[2], reduced[2];
  RegArena arena;
  RegistrationWork work;
};

Views& SharedViews() {
  static Views views;
  return views;
}

struct StartedPool {
  StartedPool() { RegistrationPool().Start(); }
  ~StartedPool() { RegistrationPool().Stop(); }
};

/// One thread's work; the stage cuts it in four.
void BM_Reduction(benchmark::State& state) {
  Views& v = SharedViews();
  for (auto _ : state) {
    Box4Down(v.frames[0].data(), kHeight, kWidth, v.reduced[0].data());
    benchmark::ClobberMemory();
  }
}

void BM_Integral(benchmark::State& state) {
  const StartedPool pool;
  Views& v = SharedViews();
  for (auto _ : state) benchmark::DoNotOptimize(BuildIntegralImage(v.Image(0), v.work.integral));
}

void BM_Responses(benchmark::State& state) {
  const StartedPool pool;
  Views& v = SharedViews();
  const IntegralImage integral = BuildIntegralImage(v.Image(0), v.work.integral);
  for (auto _ : state) {
    RunOnPool(RegistrationPool(), [&](int32_t i) {
      ComputeResponses(integral, {v.work.buffers.responses[i], kFilterSizes[i], v.size.width, v.size.height});
    });
  }
}

void BM_Extrema(benchmark::State& state) {
  const StartedPool pool;
  Views& v = SharedViews();
  const IntegralImage integral = BuildIntegralImage(v.Image(0), v.work.integral);
  ResponseLayer layers[kLayerCount];
  for (int i = 0; i < kLayerCount; ++i) {
    layers[i] = {v.work.buffers.responses[i], kFilterSizes[i], v.size.width, v.size.height};
    ComputeResponses(integral, layers[i]);
  }
  for (auto _ : state) {
    RunOnPool(
        RegistrationPool(),
        [&](int32_t i) {
          FindExtrema(layers[i], layers[i + 1], layers[i + 2], 3200, v.work.buffers.candidates[i]);
        },
        2);
  }
}

void BM_Descriptors(benchmark::State& state) {
  const StartedPool pool;
  Views& v = SharedViews();
  FeatureList list = {v.arena.keypoints, v.arena.descriptors, 0};
  v.Describe(0, &list);
  for (auto _ : state) DescribeKeypoints(v.Image(0), list, DefaultHooks());
  state.counters["keypoints"] = list.count;
}

void BM_Trees(benchmark::State& state) {
  const StartedPool pool;
  Views& v = SharedViews();
  FeatureList list = {v.arena.keypoints, v.arena.descriptors, 0};
  v.Describe(0, &list);
  for (auto _ : state) BuildForest(list, v.arena.forest, DefaultHooks());
  state.counters["keypoints"] = list.count;
}

void BM_Neighbours(benchmark::State& state) {
  const StartedPool pool;
  Views& v = SharedViews();
  FeatureList reference = {v.arena.keypoints, v.arena.descriptors, 0};
  FeatureList query = {v.work.current.keypoints, v.work.current.descriptors, 0};
  v.Describe(0, &reference);
  v.Describe(1, &query);
  BuildForest(reference, v.arena.forest, DefaultHooks());
  std::vector<NeighbourPair> pairs(static_cast<size_t>(query.count));
  for (auto _ : state) MatchDescriptors(query, reference, v.arena.forest, pairs.data(), DefaultHooks());
  state.counters["keypoints"] = query.count;
}

/// The whole stage; the argument is isFirstFrame.
void BM_Registration(benchmark::State& state) {
  Views& v = SharedViews();
  RegistrationInput request = {};
  request.isFirstFrame = request.flagC = request.doWarp = 1;
  request.iso = 800;
  request.planeCount = 2;
  request.reference = PlanarImage(v.frames[0].data(), kWidth, kHeight);
  request.input = PlanarImage(v.frames[1].data(), kWidth, kHeight);
  request.workMem = v.room.data();
  request.workMemSize = v.room.size();
  MotionModel model = {};
  model.aligned = PlanarImage(v.aligned.data(), kWidth, kHeight);
  int32_t result = ImgRegistration(&request, &model, v.arena_block.data(), v.arena_block.size());
  request.isFirstFrame = static_cast<uint8_t>(state.range(0));
  for (auto _ : state) {
    result |= ImgRegistration(&request, &model, v.arena_block.data(), v.arena_block.size());
  }
  if (result != 0) state.SkipWithError("not aligned");
}

#define ZOLT_STEP(name) BENCHMARK(name)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond)
ZOLT_STEP(BM_Reduction);
ZOLT_STEP(BM_Integral);
ZOLT_STEP(BM_Responses);
ZOLT_STEP(BM_Extrema);
ZOLT_STEP(BM_Descriptors);
ZOLT_STEP(BM_Trees);
ZOLT_STEP(BM_Neighbours);
ZOLT_STEP(BM_Registration)->Arg(1)->Arg(0);

}  // namespace
}  // namespace zolt
