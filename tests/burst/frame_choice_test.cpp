#include <gtest/gtest.h>

#include <algorithm>

#include "support/hand_held_burst.h"

namespace zolt::test {
namespace {

constexpr int kWidth = 400, kHeight = 304;

/// Means of 7 x 7 pixels of the luma: out of focus.
void Blur(std::vector<uint8_t>* frame) {
  const std::vector<uint8_t> sharp = *frame;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      int sum = 0;
      for (int dy = -3; dy <= 3; ++dy) {
        for (int dx = -3; dx <= 3; ++dx) {
          const int row = std::clamp(y + dy, 0, kHeight - 1), column = std::clamp(x + dx, 0, kWidth - 1);
          sum += sharp[static_cast<size_t>(row * kWidth + column)];
        }
      }
      (*frame)[static_cast<size_t>(y * kWidth + x)] = static_cast<uint8_t>(sum / 49);
    }
  }
}

void Expose(std::vector<uint8_t>* frame, double gain) {
  for (int i = 0; i < kWidth * kHeight; ++i) {
    uint8_t& v = (*frame)[static_cast<size_t>(i)];
    v = static_cast<uint8_t>(std::min(255.0, v * gain + 0.5));
  }
}

HandHeldBurst Burst(int frames) {
  return MakeHandHeldBurst(kWidth, kHeight, frames, 5);
}

/// The frames without the one that does not belong, which must not be missed.
double PsnrWithout(HandHeldBurst burst, size_t left_out) {
  burst.frames.erase(burst.frames.begin() + static_cast<ptrdiff_t>(left_out));
  return LumaPsnr(Clean(burst.Views()).image, burst.truth, kWidth, kHeight);
}

TEST(FrameChoice, WhatDoesNotBelongIsLeftOutWithItsReason) {
  const HandHeldBurst burst = Burst(6);
  const double without = PsnrWithout(burst, 3);
  struct Case {
    const char* what;
    int32_t use;
    void (*spoil)(std::vector<uint8_t>*);
  };
  const Case cases[] = {
      {"blurred", ZOLT_BURST_BLURRED, Blur},
      {"brighter", ZOLT_BURST_OTHER_EXPOSURE, [](std::vector<uint8_t>* f) { Expose(f, 1.9); }},
      {"darker", ZOLT_BURST_OTHER_EXPOSURE, [](std::vector<uint8_t>* f) { Expose(f, 0.5); }},
      {"another scene", ZOLT_BURST_OTHER_SCENE,
       [](std::vector<uint8_t>* f) { *f = MakeHandHeldBurst(kWidth, kHeight, 1, 5, 77).frames[0]; }},
  };
  for (const Case& c : cases) {
    HandHeldBurst spoilt = burst;
    c.spoil(&spoilt.frames[3]);
    const BurstResult result = Clean(spoilt.Views());
    ASSERT_EQ(result.code, ZOLT_BURST_OK);
    EXPECT_EQ(result.frames[3].use, c.use) << c.what << ": " << zolt_burst_use_text(result.frames[3].use);
    EXPECT_EQ(result.report.merged, 5) << c.what;
    EXPECT_GT(LumaPsnr(result.image, burst.truth, kWidth, kHeight), without - 0.1) << c.what;
  }
  HandHeldBurst blurred = burst;
  Blur(&blurred.frames[3]);
  zolt_burst_options keep_all;
  zolt_burst_options_init(&keep_all);
  keep_all.keep_all = 1;
  EXPECT_EQ(Clean(blurred.Views(), &keep_all).frames[3].use, ZOLT_BURST_USED);
}

TEST(FrameChoice, TheReferenceIsTheSharpestOfTheFirstOrTheOneNamed) {
  HandHeldBurst burst = Burst(5);
  EXPECT_EQ(Clean(burst.Views()).report.reference, 0);
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  options.reference = 3;
  const BurstResult named = Clean(burst.Views(), &options);
  EXPECT_EQ(named.report.reference, 3);
  EXPECT_EQ(named.frames[3].use, ZOLT_BURST_IS_REFERENCE);
  // Where the first frame shows the third's middle, and the other way round.
  const BurstResult first = Clean(burst.Views());
  EXPECT_NEAR(named.frames[0].shift_x, -first.frames[3].shift_x, 0.1);
  EXPECT_NEAR(named.frames[0].shift_y, -first.frames[3].shift_y, 0.1);
  EXPECT_GT(std::abs(first.frames[3].shift_x) + std::abs(first.frames[3].shift_y), 1);
  Blur(&burst.frames[0]);
  const BurstResult sharper = Clean(burst.Views());
  EXPECT_NE(sharper.report.reference, 0);
  EXPECT_EQ(sharper.frames[0].use, ZOLT_BURST_BLURRED);
}

TEST(FrameChoice, AFrameThatNoOtherFitsIsNoReference) {
  HandHeldBurst burst = Burst(4);
  Frame noise(kWidth, kHeight);
  AddNoise(&noise, 60, 9);
  std::copy_n(noise.bytes.begin(), kWidth * kHeight, burst.frames[1].begin());
  const BurstResult result = Clean(burst.Views());
  EXPECT_EQ(result.report.reference, 0);
  EXPECT_EQ(result.frames[1].use, ZOLT_BURST_OTHER_SCENE);
  EXPECT_EQ(result.report.merged, 3);
}

TEST(FrameChoice, TheBestTenOfManyAreMerged) {
  HandHeldBurst burst = Burst(13);
  const BurstResult result = Clean(burst.Views());
  EXPECT_EQ(result.report.merged, 10);
  EXPECT_EQ(std::count_if(result.frames.begin(), result.frames.end(),
                          [](const auto& f) { return f.use == ZOLT_BURST_TOO_MANY; }),
            3);
}

TEST(FrameChoice, ABrighterLastFrameIsFusedWithFourOthersAndNeverAsTheEighth) {
  for (const int frames : {4, 5, 8, 9}) {
    HandHeldBurst burst = Burst(frames);
    Expose(&burst.frames.back(), 1.5);
    const BurstResult result = Clean(burst.Views());
    ASSERT_EQ(result.code, ZOLT_BURST_OK);
    const bool fused = frames >= 5;
    EXPECT_EQ(result.report.fused, fused ? 1 : 0) << frames;
    EXPECT_EQ(result.frames.back().use, fused ? ZOLT_BURST_FUSED : ZOLT_BURST_OTHER_EXPOSURE);
    EXPECT_EQ(result.report.merged, frames == 8 ? 7 : frames == 4 ? 3 : frames);
    zolt_burst_options off;
    zolt_burst_options_init(&off);
    off.fusion = ZOLT_BURST_FUSION_OFF;
    EXPECT_EQ(Clean(burst.Views(), &off).frames.back().use, ZOLT_BURST_OTHER_EXPOSURE);
    Expose(&burst.frames.back(), 0.4);
    EXPECT_EQ(Clean(burst.Views()).frames.back().use, ZOLT_BURST_OTHER_EXPOSURE);
  }
}

TEST(FrameChoice, NothingToMergeGivesTheFilteredReference) {
  HandHeldBurst burst = Burst(2);
  burst.frames[1] = MakeHandHeldBurst(kWidth, kHeight, 1, 5, 77).frames[0];
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  options.reference = 0;
  options.iso = 6400;
  const BurstResult result = Clean(burst.Views(), &options);
  EXPECT_EQ(result.report.merged, 1);
  EXPECT_EQ(result.report.band, 7);
  EXPECT_EQ(result.report.noise_measured, 1);
  EXPECT_NE(result.image, burst.frames[0]);
  EXPECT_GT(LumaPsnr(result.image, burst.truth, kWidth, kHeight),
            LumaPsnr(burst.frames[0], burst.truth, kWidth, kHeight));
}

}  // namespace
}  // namespace zolt::test
