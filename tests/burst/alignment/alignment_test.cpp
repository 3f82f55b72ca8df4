#include "burst/alignment/alignment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "burst/alignment/warp.h"
#include "support/moving_scene.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

using test::Frame;

PlaneView Luma(const Frame& frame) {
  return {frame.bytes.data(), frame.width, frame.height, frame.width};
}

Alignment AlignFrames(const Frame& reference, const Frame& frame, const Homography* guess = nullptr,
                      int threads = 2) {
  AlignmentReference prepared;
  EXPECT_TRUE(prepared.Prepare(Luma(reference), AlignmentCare::kThorough, threads));
  return Align(prepared, Luma(frame), guess, threads);
}

double MeanError(const Homography& found, const Homography& truth, int width, int height) {
  double sum = 0;
  for (int i = 0; i < 64; ++i) {
    double ax, ay, bx, by;
    found.Map((i % 8 + 0.5) * width / 8, (i / 8 + 0.5) * height / 8, &ax, &ay);
    truth.Map((i % 8 + 0.5) * width / 8, (i / 8 + 0.5) * height / 8, &bx, &by);
    sum += std::hypot(ax - bx, ay - by) / 64;
  }
  return sum;
}

/// Noise of its own for each seed and pixel: that of support/test_planes.h is one stream, from another draw
/// on.
void AddOwnNoise(Frame* frame, double sigma, uint32_t seed) {
  for (size_t i = 0; i < frame->bytes.size(); ++i) {
    double sum = -6;
    for (uint32_t k = 0; k < 12; ++k) {
      uint64_t hash = (i * 12 + k + 1) * 0x9E3779B97F4A7C15u + seed * 0xD1342543DE82EF95u;
      hash = (hash ^ (hash >> 32)) * 0xBF58476D1CE4E5B9u;
      hash = (hash ^ (hash >> 29)) * 0x94D049BB133111EBu;
      sum += static_cast<double>(hash >> 40) / (1 << 24);
    }
    frame->bytes[i] = static_cast<uint8_t>(std::clamp(frame->bytes[i] + sigma * sum + 0.5, 0.0, 255.0));
  }
}

/// A noisy picture of a scene from (x, y) of it on.
Frame Part(const Frame& scene, int x, int y, int width, int height, uint32_t seed, double noise = 3) {
  Frame part(width, height);
  for (int row = 0; row < height; ++row) {
    std::memcpy(&part.bytes[static_cast<size_t>(row) * width],
                &scene.bytes[static_cast<size_t>(row + y) * scene.width + x], static_cast<size_t>(width));
  }
  AddOwnNoise(&part, noise, seed);
  return part;
}

void PaintDisc(Frame* frame, int cx, int cy, int radius) {
  for (int y = cy - radius; y <= cy + radius; ++y) {
    for (int x = cx - radius; x <= cx + radius; ++x) {
      if ((x - cx) * (x - cx) + (y - cy) * (y - cy) > radius * radius) continue;
      frame->bytes[static_cast<size_t>(y) * frame->width + x] = (x - cx + y - cy) & 16 ? 230 : 40;
    }
  }
}

void ExpectSame(const Alignment& a, const Alignment& b) {
  EXPECT_EQ(a.aligned, b.aligned);
  EXPECT_EQ(std::memcmp(&a.motion, &b.motion, sizeof a.motion), 0);
  EXPECT_EQ(std::memcmp(a.tone, b.tone, sizeof a.tone), 0);
  EXPECT_EQ(a.correlation, b.correlation);
  EXPECT_EQ(a.error, b.error);
  EXPECT_EQ(a.moved_share, b.moved_share);
  EXPECT_EQ(a.gain, b.gain);
}

TEST(Alignment, FindsTheMotionOfAHandToHundredthsOfAPixel) {
  for (uint32_t seed = 1; seed <= 4; ++seed) {
    const int width = seed % 2 == 0 ? 640 : 517, height = seed % 2 == 0 ? 480 : 701;
    test::ScenePair pair = test::MakeScenePair(width, height, seed);
    AddOwnNoise(&pair.reference, 5, 1);
    AddOwnNoise(&pair.current, 5, 2);
    Homography truth;
    std::copy_n(pair.homography, 8, truth.h);
    const Alignment found = AlignFrames(pair.reference, pair.current);
    ASSERT_TRUE(found.aligned) << seed;
    EXPECT_LT(MeanError(found.motion, truth, width, height), 0.04) << seed;
    EXPECT_LT(found.error, 0.04f);
    EXPECT_LT(found.moved_share, 0.02f);
    EXPECT_GT(found.correlation, 0.7f);
  }
}

TEST(Alignment, QuickComparesAtHalfTheSizeAndLosesAHundredth) {
  test::ScenePair pair = test::MakeScenePair(960, 640, 5);
  AddOwnNoise(&pair.reference, 5, 1);
  AddOwnNoise(&pair.current, 5, 2);
  Homography truth;
  std::copy_n(pair.homography, 8, truth.h);
  double error[2];
  for (const AlignmentCare care : {AlignmentCare::kThorough, AlignmentCare::kQuick}) {
    AlignmentReference reference, frame;
    ASSERT_TRUE(reference.Prepare(Luma(pair.reference), care) && frame.Prepare(Luma(pair.current), care));
    const Alignment found = Align(reference, Luma(pair.current));
    ExpectSame(found, Align(reference, frame));
    error[care == AlignmentCare::kQuick] = MeanError(found.motion, truth, 960, 640);
  }
  EXPECT_NE(error[0], error[1]);
  EXPECT_LT(error[1], error[0] + 0.02);
}

TEST(Alignment, FindsATenthOfTheWidthWithAndWithoutAGuess) {
  const Frame scene = test::TexturedFrame(900, 700, 3);
  const Frame reference = Part(scene, 40, 60, 600, 450, 1);
  for (const auto& [x, y] : {std::pair{60, -57}, {-40, 60}, {58, 55}, {0, 0}}) {
    const Frame frame = Part(scene, 40 + x, 60 + y, 600, 450, 2);
    const Homography truth = Homography::Translation(-x, -y), wrong = Homography::Translation(200, 90);
    const Homography wild = {{-3, 1e7, 0, 2, 1e-9, 5, 0.4, -0.2}};
    for (const Homography* guess : {static_cast<const Homography*>(nullptr), &truth, &wrong, &wild}) {
      const Alignment found = AlignFrames(reference, frame, guess);
      ASSERT_TRUE(found.aligned) << x << " " << y;
      EXPECT_LT(MeanError(found.motion, truth, 600, 450), 0.02);
      EXPECT_NEAR(found.overlap, (600.0 - std::abs(x)) * (450.0 - std::abs(y)) / (600 * 450), 0.03);
    }
  }
}

TEST(Alignment, LeavesOutWhatMovesAndTellsHowMuch) {
  const Frame scene = test::TexturedFrame(700, 500, 5);
  Frame reference = Part(scene, 10, 10, 640, 480, 1), frame = Part(scene, 14, 7, 640, 480, 2);
  PaintDisc(&reference, 200, 200, 60);
  PaintDisc(&frame, 260, 215, 60);
  const Alignment found = AlignFrames(reference, frame);
  ASSERT_TRUE(found.aligned);
  EXPECT_LT(MeanError(found.motion, Homography::Translation(-4, 3), 640, 480), 0.02);
  EXPECT_NEAR(found.moved_share, 0.065, 0.025);  // both places of the disc
}

TEST(Alignment, BrightnessDisturbsNothingAndIsTold) {
  const Frame scene = test::TexturedFrame(700, 500, 7);
  const Frame reference = Part(scene, 10, 10, 640, 480, 1, 1.5), plain = Part(scene, 16, 6, 640, 480, 2, 1.5);
  const Homography truth = Homography::Translation(-6, 4);
  // From the same brightness over 1 % to three stops under a display's curve, blown out above.
  for (const double gain : {1.0, 1.01, 0.97, 0.45, 2.0, 2.57}) {
    Frame frame = plain;
    for (uint8_t& v : frame.bytes) v = static_cast<uint8_t>(std::min(v * gain + 0.5, 255.0));
    const Alignment found = AlignFrames(reference, frame);
    ASSERT_TRUE(found.aligned) << gain;
    EXPECT_LT(MeanError(found.motion, truth, 640, 480), gain > 1.5 ? 0.2 : 0.03) << gain;
    EXPECT_LT(found.moved_share, gain > 1.5 ? 0.2f : 0.02f) << gain;
    for (const int v : {40, 70, 95}) EXPECT_NEAR(found.tone[v], v / gain, gain < 0.9 ? 6 : 3) << gain;
    if (gain == 1.0) {
      EXPECT_EQ(found.gain, 1.0f);
      for (int v = 0; v < 256; ++v) EXPECT_EQ(found.tone[v], v);
    } else if (std::abs(gain - 1) < 0.1) {
      EXPECT_NEAR(found.gain, 1 / gain, 0.004);
    }
  }
}

TEST(Alignment, DoesNotAlignWhatShowsNothingOrSomethingElse) {
  const auto flat = [](uint32_t seed, double noise) {
    Frame frame(640, 480, 120);
    if (noise > 0) AddOwnNoise(&frame, noise, seed);
    return frame;
  };
  EXPECT_FALSE(AlignFrames(flat(1, 0), flat(2, 0)).aligned);
  for (const double noise : {1.0, 4.0, 20.0})
    EXPECT_FALSE(AlignFrames(flat(1, noise), flat(2, noise)).aligned) << noise;
  for (uint32_t seed = 1; seed < 6; ++seed) {
    const Alignment other =
        AlignFrames(test::TexturedFrame(640, 480, seed), test::TexturedFrame(640, 480, seed + 10));
    EXPECT_FALSE(other.aligned) << seed;
  }
  AlignmentReference unprepared, small;
  EXPECT_FALSE(Align(unprepared, Luma(flat(1, 0))).aligned);
  EXPECT_FALSE(small.Prepare(Luma(Frame(16, 8)), AlignmentCare::kQuick));
}

uint64_t Digest(uint64_t digest, const void* data, size_t size) {
  for (size_t i = 0; i < size; ++i) digest = (digest ^ static_cast<const uint8_t*>(data)[i]) * 0x100000001B3u;
  return digest;
}

TEST(Alignment, SameBytesOnEveryProcessorAndNumberOfThreads) {
  uint64_t digest = 0xCBF29CE484222325u;
  const Frame scene = test::TexturedFrame(1240, 1140, 2);
  struct {
    Frame reference, current;
  } pair = {Part(scene, 20, 20, 1200, 1100, 1), Frame(1200, 1100)};
  const Homography motion = {{0.9998, -0.0121, 31.7, 0.0119, 1.0007, 8.2, 1e-6, -2e-6}};
  for (const bool exposed : {false, true}) {
    const MutablePlane current = {pair.current.bytes.data(), 1200, 1100, 1200};
    ASSERT_TRUE(WarpPlane(current, {}, Luma(scene), motion, {}, 2));
    AddOwnNoise(&pair.current, 3, 2);
    if (exposed) {
      for (uint8_t& v : pair.current.bytes) v = static_cast<uint8_t>(std::min(2 * v, 255));
    }
    const Alignment one = AlignFrames(pair.reference, pair.current, nullptr, 1);
    ASSERT_TRUE(one.aligned);
    ExpectSame(one, AlignFrames(pair.reference, pair.current, nullptr, 3));
    ExpectSame(one, AlignFrames(pair.reference, pair.current, nullptr, 100));
    for (const int k : {0, 1, 30}) {
      const test::ThreadFailure failure(k, true);
      ExpectSame(one, AlignFrames(pair.reference, pair.current, nullptr, 4));
    }
    AlignmentReference reference, frame;  // a frame that was prepared itself
    ASSERT_TRUE(reference.Prepare(Luma(pair.reference), AlignmentCare::kThorough) &&
                frame.Prepare(Luma(pair.current), AlignmentCare::kThorough));
    ExpectSame(one, Align(reference, frame));
    for (const int k : {-1, 0, 2}) {
      AlignmentJob jobs[5];
      for (AlignmentJob& job : jobs) job = {&reference, &job == jobs ? nullptr : &frame, Luma(pair.current)};
      const test::ThreadFailure failure(k, true);
      AlignAll(jobs, 5);
      for (const AlignmentJob& job : jobs) ExpectSame(one, job.result);
    }
    digest = Digest(digest, &one.motion, sizeof one.motion);
    digest = Digest(digest, &one.error, sizeof one.error);
    digest = Digest(digest, one.tone, sizeof one.tone);
  }
  EXPECT_EQ(digest, 8057005825245747960u);
}

TEST(Alignment, TakesAwkwardSizesAndPitches) {
  const Frame scene = test::TexturedFrame(3008, 3008, 4);
  for (const auto& [width, height] :
       {std::pair{16, 16}, {17, 31}, {16, 3000}, {2999, 16}, {64, 23}, {129, 65}, {1001, 999}}) {
    AlignmentReference prepared;
    ASSERT_TRUE(prepared.Prepare({scene.bytes.data(), width, height, scene.width}, AlignmentCare::kQuick));
    const Frame frame = Part(scene, 1, 2, width, height, 1, 1);  // exact bytes: nothing beyond may be read
    const Alignment found = Align(prepared, Luma(frame));
    EXPECT_TRUE(found.aligned || std::min(width, height) < 20) << width << " " << height;
    if (found.aligned) {
      EXPECT_LT(MeanError(found.motion, Homography::Translation(-1, -2), width, height),
                std::min(width, height) < 32 ? 1 : 0.03)
          << width << " " << height;
    }
  }
}

}  // namespace
}  // namespace zolt
