// How many of a set of hand-held pairs are aligned, and how exactly. Argument: pairs of each size (75).

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "support/moving_scene.h"

namespace {

struct Size {
  int width, height;
};

void Report(Size size, uint32_t pairs) {
  std::vector<double> errors;
  for (uint32_t seed = 1; seed <= pairs; ++seed) {
    zolt::test::ScenePair pair = zolt::test::MakeScenePair(size.width, size.height, seed);
    const zolt::test::RegistrationTrial trial = zolt::test::TryRegistration(&pair);
    if (trial.result == 0) errors.push_back(trial.corner_error);
  }
  std::sort(errors.begin(), errors.end());
  std::printf("%4d x %4d  aligned %3zu of %3u", size.width, size.height, errors.size(), pairs);
  if (!errors.empty()) {
    std::printf("  corner error: median %.3f px, worst %.3f px", errors[errors.size() / 2], errors.back());
  }
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const uint32_t pairs = argc > 1 ? static_cast<uint32_t>(std::atoi(argv[1])) : 75;
  for (const Size size : {Size{1600, 1200}, {1024, 768}, {640, 480}, {320, 240}}) Report(size, pairs);
  return 0;
}
