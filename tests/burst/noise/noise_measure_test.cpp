#include "burst/noise/noise_measure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/test_planes.h"

namespace zolt {
namespace {

constexpr int kWidth = 640, kHeight = 480;

/// Nearly normal, independent for each place and frame.
double NoiseAt(uint64_t place) {
  double sum = 0;
  for (int i = 0; i < 4; ++i) {
    uint64_t z = (place * 4 + static_cast<uint64_t>(i) + 1) * 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    sum += static_cast<double>((z ^ (z >> 31)) >> 11) / 9007199254740992.0 - 0.5;
  }
  return sum * std::sqrt(3.0);
}

struct Scene {
  double sigma = 5;
  bool textured = true;
  bool blotchy = false;  ///< noise of 2 x 2 pixels
  bool clipped = false;  ///< the upper half white
  bool moving = false;   ///< a sixteenth shows something else in each frame
};

std::vector<uint8_t> Take(const Scene& scene, int frame) {
  std::vector<uint8_t> luma(static_cast<size_t>(kWidth * kHeight));
  test::Frame picture = test::TexturedFrame(kWidth, kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      double v =
          scene.textured ? 40 + picture.bytes[static_cast<size_t>(y * kWidth + x)] * 0.7 : 60 + 0.2 * x;
      if (scene.clipped && y < kHeight / 2) v = 255;
      if (scene.moving && x < kWidth / 4 && y < kHeight / 4) v = 60 + 20 * ((x + 7 * frame) / 9 % 5);
      const int step = scene.blotchy ? 2 : 1;
      const auto place =
          static_cast<uint64_t>(frame) << 40 | static_cast<uint64_t>(y / step * kWidth + x / step);
      luma[static_cast<size_t>(y * kWidth + x)] =
          static_cast<uint8_t>(std::clamp(v + scene.sigma * NoiseAt(place) + 0.5, 0.0, 255.0));
    }
  }
  return luma;
}

NoiseMeasure Measure(const Scene& scene, int count) {
  std::vector<std::vector<uint8_t>> planes;
  std::vector<NoiseFrame> frames;
  for (int i = 0; i < count; ++i) {
    planes.push_back(Take(scene, i));
    frames.push_back({{planes.back().data(), kWidth, kHeight, kWidth}, {}, {}, Homography::Identity()});
  }
  return MeasureNoise(frames.data(), count);
}

TEST(NoiseMeasure, TextureMotionClippingAndBlotchesDoNotMislead) {
  for (const double sigma : {1.5, 4.0, 12.0}) {
    for (const Scene& scene : {Scene{sigma}, Scene{sigma, false}, Scene{sigma, true, false, true},
                               Scene{sigma, true, false, false, true}, Scene{sigma, false, true}}) {
      for (const int count : {2, 4}) {
        const NoiseMeasure measure = Measure(scene, count);
        EXPECT_TRUE(measure.measured);
        EXPECT_NEAR(measure.luma_sigma / sigma, 1, 0.15) << sigma << scene.textured << scene.moving << count;
        // Noise of 2 x 2 pixels is not reduced by 2 x 2 means.
        EXPECT_NEAR(measure.blotchiness, scene.blotchy ? 2 : 1, 0.15);
      }
    }
  }
  EXPECT_GT(Measure({4, true}, 2).texture, 4 * Measure({4, false}, 2).texture + 1);
}

TEST(NoiseMeasure, OneFrameTellsRoughlyAndNothingTellsNothing) {
  EXPECT_NEAR(Measure({6, false}, 1).luma_sigma / 6, 1, 0.2);
  EXPECT_NEAR(Measure({6, false, true}, 1).luma_sigma / 6, 1, 0.2);
  const std::vector<uint8_t> small(15 * 15, 90);
  const NoiseFrame frames[2] = {{{small.data(), 15, 15, 15}, {}, {}, Homography::Identity()},
                                {{small.data(), 15, 15, 15}, {}, {}, Homography::Identity()}};
  EXPECT_FALSE(MeasureNoise(frames, 2).measured);
  // A frame that shows another place of the scene altogether.
  const std::vector<uint8_t> plane = Take({}, 0);
  const PlaneView view = {plane.data(), kWidth, kHeight, kWidth};
  const NoiseFrame apart[2] = {{view, {}, {}, Homography::Identity()},
                               {view, {}, {}, Homography::Translation(2 * kWidth, 0)}};
  EXPECT_FALSE(MeasureNoise(apart, 2).measured);
}

}  // namespace
}  // namespace zolt
