#include "simulate/camera.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "common/hash_random.h"
#include "common/parallel.h"
#include "media/colour.h"
#include "simulate/scene.h"
#include "tools/support/noise_statistics.h"
#include "tools/support/tool_folder.h"

namespace zolt {
namespace {

// The frames as they come back from their lossless RGB files.
std::vector<YuvPicture> Burst(const Camera& camera, int frames) {
  std::vector<YuvPicture> out(static_cast<size_t>(frames));
  ParallelFor(frames, [&](int i) { out[i] = YuvFromRgb(RgbFromYuv(camera.Frame(i))); });
  return out;
}

class TripodNoise : public ::testing::Test {
 protected:
  static NoiseStatistics Plane(const CameraSettings& settings, std::vector<uint8_t> YuvPicture::*plane) {
    const Camera camera(RenderScene(), settings);
    const bool luma = plane == &YuvPicture::y;
    const NoiseStatistics s = MeasureNoise(Burst(camera, settings.frames), camera.Truth(0), plane,
                                           luma ? camera.width() : camera.width() / 2);
    const std::string name = luma ? "luma" : plane == &YuvPicture::u ? "u" : "v";
    RecordProperty(name,
                   std::to_string(s.sigma) + " " + std::to_string(s.lag1) + " " + std::to_string(s.lag4));
    return s;
  }
};

TEST_F(TripodNoise, IsThatOfAPhone) {
  CameraSettings settings;
  settings.iso = 3153;
  settings.motion = 0;
  settings.frames = 8;
  const NoiseStatistics y = Plane(settings, &YuvPicture::y);
  EXPECT_GT(y.sigma, 4.0);
  EXPECT_LT(y.sigma, 4.6);
  EXPECT_GT(y.lag1, 0.61);
  EXPECT_LT(y.lag1, 0.66);
  EXPECT_GT(y.lag4, 0.0);
  EXPECT_LT(y.lag4, 0.12);
  EXPECT_LT(std::abs(y.bias), 0.25);
  for (auto plane : {&YuvPicture::u, &YuvPicture::v}) {
    const NoiseStatistics c = Plane(settings, plane);
    EXPECT_GT(c.sigma, 2.0);
    EXPECT_LT(c.sigma, 3.6);
    EXPECT_GT(c.lag1, 0.92);
    EXPECT_LT(c.lag1, 0.94);
    EXPECT_GT(c.lag4, 0.5);
    EXPECT_LT(c.lag4, 0.6);
    EXPECT_LT(std::abs(c.bias), 0.25);
  }
}

TEST_F(TripodNoise, WhiteKeepsItsStrengthAndLosesItsCorrelation) {
  CameraSettings settings;
  settings.iso = 3153;
  settings.motion = 0;
  settings.white = true;
  const NoiseStatistics y = Plane(settings, &YuvPicture::y);
  EXPECT_GT(y.sigma, 4.0);
  EXPECT_LT(y.sigma, 4.6);
  EXPECT_LT(std::abs(y.lag1), 0.1);
  EXPECT_LT(std::abs(y.lag4), 0.02);
  const NoiseStatistics u = Plane(settings, &YuvPicture::u);
  EXPECT_GT(u.sigma, 2.0);
  EXPECT_LT(u.sigma, 3.6);
  EXPECT_LT(std::abs(u.lag1), 0.1);
  Plane(settings, &YuvPicture::v);
}

// Luma of `p` between its pixels.
double Sample(const YuvPicture& p, double x, double y) {
  const int ix = std::clamp(static_cast<int>(x), 0, p.width - 2);
  const int iy = std::clamp(static_cast<int>(y), 0, p.height - 2);
  const auto at = [&](int i, int j) {
    return double{1} * p.y[static_cast<size_t>((iy + j) * p.width + ix + i)];
  };
  const double fx = x - ix;
  const double fy = y - iy;
  return (at(0, 0) * (1 - fx) + at(1, 0) * fx) * (1 - fy) + (at(0, 1) * (1 - fx) + at(1, 1) * fx) * fy;
}

TEST(Camera, TheHomographyTellsWhereAFramesPixelsAreInTheFirst) {
  CameraSettings settings;
  settings.iso = 1;  // next to no noise
  settings.frames = 3;
  const Camera camera(RenderScene(), settings);
  const YuvPicture truth = camera.Truth(0);
  EXPECT_EQ(camera.homographies()[0], (FrameMotion{1, 0, 0, 0, 1, 0, 0, 0, 1}));
  for (int f = 1; f < 3; ++f) {
    const YuvPicture frame = camera.Frame(f);
    const FrameMotion& h = camera.homographies()[f];
    double mapped = 0, unmapped = 0;
    for (int y = 40; y < camera.height() - 40; ++y) {
      for (int x = 40; x < camera.width() - 40; ++x) {
        const double w = h[6] * x + h[7] * y + 1;
        const double v = frame.y[static_cast<size_t>(y * frame.width + x)];
        mapped +=
            std::abs(v - Sample(truth, (h[0] * x + h[1] * y + h[2]) / w, (h[3] * x + h[4] * y + h[5]) / w));
        unmapped += std::abs(v - Sample(truth, x, y));
      }
    }
    EXPECT_LT(mapped * 4, unmapped) << f;
  }
}

TEST(Camera, TheSameSettingsGiveTheSameBytes) {
  CameraSettings settings;
  settings.crop_width = 320;
  settings.crop_height = 240;
  settings.frames = 3;
  settings.last_ev = 1;
  const auto checksum = [](const YuvPicture& p) {
    uint64_t sum = 0;
    for (const auto* plane : {&p.y, &p.u, &p.v}) {
      for (const uint8_t v : *plane) sum = MixBits(sum + v + 1);
    }
    return sum;
  };
  const Camera camera(RenderScene(), settings);
  EXPECT_EQ(camera.width(), 320);
  EXPECT_EQ(camera.height(), 240);
  // Not a matter of right or wrong: these change only with the model, and are equal on x86-64, arm64 and
  // 32-bit ARM.
  EXPECT_EQ(checksum(camera.Frame(1)), 13266295115335396311u);
  EXPECT_EQ(checksum(camera.Truth(2)), 13117827578685212637u);
  settings.seed = 2;
  EXPECT_NE(checksum(Camera(RenderScene(), settings).Frame(0)), checksum(camera.Frame(0)));
}

TEST(Camera, GhostAndLastExposureChangeWhatTheyShould) {
  CameraSettings settings;
  settings.motion = 0;
  settings.iso = 1;
  settings.crop_width = 480;
  settings.crop_height = 320;
  const Camera plain(RenderScene(), settings);
  settings.ghost = true;
  settings.last_ev = -2;
  const Camera moving(RenderScene(), settings);
  const auto changed = [](const YuvPicture& a, const YuvPicture& b) {
    int n = 0;
    for (size_t i = 0; i < a.y.size(); ++i) n += std::abs(a.y[i] - b.y[i]) > 12 ? 1 : 0;
    return n / static_cast<double>(a.y.size());
  };
  const double ball = 3.14159 * 0.09 * 0.09 * 320 / 480;  // its share of the frame
  EXPECT_NEAR(changed(plain.Truth(0), moving.Truth(0)), ball, 0.5 * ball);
  EXPECT_GT(changed(moving.Frame(0), moving.Frame(2)), 0.5 * ball);
  const auto mean = [](const YuvPicture& p) {
    double sum = 0;
    for (const uint8_t v : p.y) sum += v;
    return sum / static_cast<double>(p.y.size());
  };
  EXPECT_NEAR(mean(moving.Truth(5)) / mean(moving.Truth(0)), 0.52, 0.05);  // a quarter of the light
  EXPECT_NEAR(mean(moving.Frame(5)), mean(moving.Truth(5)), 1);
  EXPECT_EQ(FailureOf([] { Camera(RgbPicture(100, 300), CameraSettings()); }), kExitUsage);
}

TEST(FilmedCamera, MovesOnSmoothlyAndItsTruthIsTheSameWithoutNoise) {
  CameraSettings settings;
  settings.video = true;
  settings.frames = 40;
  settings.crop_width = 320;
  settings.crop_height = 240;
  const Camera camera(RenderScene(), settings);
  const auto shift = [&](int i) { return camera.homographies()[static_cast<size_t>(i)][2]; };
  double furthest = 0;
  for (int i = 1; i < settings.frames; ++i) {
    EXPECT_LT(std::abs(shift(i) - shift(i - 1)), 0.001 * camera.width()) << i;
    furthest = std::max(furthest, std::abs(shift(i)));
  }
  EXPECT_GT(furthest, 0.002 * camera.width());
  EXPECT_EQ(shift(0), 0);
  const YuvPicture frame = camera.Frame(30), truth = camera.CleanFrame(30);
  double error = 0;
  for (size_t i = 0; i < truth.y.size(); ++i) error += frame.y[i] - truth.y[i];
  EXPECT_LT(std::abs(error / static_cast<double>(truth.y.size())), 0.2);
  EXPECT_TRUE(camera.CleanFrame(0).y == camera.Truth(0).y);
}

}  // namespace
}  // namespace zolt
