#include "registration/robust_fit.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

#include "base/alloc_hooks.h"
#include "base/random.h"
#include "registration/homography.h"

namespace zolt {
namespace {

/// One fit of the argument's number of pairs, a third of which are wrong and the others half a pixel off.
void BM_RobustFit(benchmark::State& state) {
  const auto n = static_cast<int32_t>(state.range(0));
  const float motion[9] = {0.9994f, -0.0349f, 20.5f, 0.0349f, 0.9994f, -7.25f, 1e-6f, 0, 1};
  std::vector<Point> reference, current;
  MultiplyWithCarry random;
  for (int32_t i = 0; i < n; ++i) {
    const Point p = {static_cast<float>(random.Next(1000)), static_cast<float>(random.Next(750))};
    Point q = MapPoint(motion, p);
    q.x += i % 3 == 1 ? 40 + static_cast<float>(random.Next(300)) : static_cast<float>(random.Next(3)) / 4;
    reference.push_back(p);
    current.push_back(q);
  }
  std::vector<uint8_t> buffer(RansacBufferSize(n));
  for (auto _ : state) {
    std::vector<Point> r = reference, c = current;
    MatchSet matches = {r.data(), c.data(), n, {}, nullptr, nullptr};
    RansacHomography(&matches, matches.homography, kFineControl, buffer.data(), DefaultHooks());
    benchmark::DoNotOptimize(matches);
  }
}
BENCHMARK(BM_RobustFit)->Arg(50)->Arg(500)->Arg(3000)->Unit(benchmark::kMillisecond);

void BM_SolveHomography(benchmark::State& state) {
  const auto n = static_cast<int32_t>(state.range(0));
  std::vector<Point> points(static_cast<size_t>(n));
  MultiplyWithCarry random;
  for (Point& p : points) p = {static_cast<float>(random.Next(4000)), static_cast<float>(random.Next(3000))};
  float model[9];
  for (auto _ : state) {
    SolveHomography(points.data(), points.data(), n, model, kFullJacobiLimit);
    benchmark::DoNotOptimize(model);
  }
}
BENCHMARK(BM_SolveHomography)->Arg(50)->Arg(3000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zolt
