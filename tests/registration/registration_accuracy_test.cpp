#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/moving_scene.h"

namespace zolt {
namespace {

// A small part of what bench/registration_accuracy does with 300 pairs.
TEST(RegistrationAccuracy, AlignsHandHeldPairs) {
  std::vector<double> errors;
  for (uint32_t seed = 1; seed <= 8; ++seed) {
    test::ScenePair pair = test::MakeScenePair(640, 480, seed);
    const test::RegistrationTrial trial = test::TryRegistration(&pair);
    EXPECT_EQ(trial.result, 0) << seed;
    errors.push_back(trial.corner_error);
  }
  std::sort(errors.begin(), errors.end());
  EXPECT_LT(errors[4], 0.6);
  EXPECT_LT(errors.back(), 3);
}

}  // namespace
}  // namespace zolt
