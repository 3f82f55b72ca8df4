#include "burst/tuning.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/hand_held_burst.h"

namespace zolt::test {
namespace {

constexpr int kWidth = 400, kHeight = 304;
constexpr const char* kFolders[] = {ZOLT_SOURCE_DIR "/config", ZOLT_SOURCE_DIR "/config/plain",
                                    ZOLT_SOURCE_DIR "/config/fine"};

/// Six frames; of a fused burst the last is brighter. Light on the third grows to 20 levels from left to
/// right, so every ghost threshold makes of it something else.
HandHeldBurst Burst(bool fused) {
  HandHeldBurst burst = MakeHandHeldBurst(kWidth, kHeight, 6, 2);
  for (int y = 100; y < 200; ++y) {
    for (int x = 100; x < 300; ++x) {
      uint8_t& v = burst.frames[2][static_cast<size_t>(y * kWidth + x)];
      v = static_cast<uint8_t>(std::min(255, v + (x - 100) / 10));
    }
  }
  for (int i = 0; fused && i < kWidth * kHeight; ++i) {
    uint8_t& v = burst.frames.back()[static_cast<size_t>(i)];
    v = static_cast<uint8_t>(std::min(255.0, v * 1.5 + 0.5));
  }
  return burst;
}

BurstResult With(const HandHeldBurst& burst, int32_t mode, const char* folder) {
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  options.mode = mode;
  options.iso = 1600;
  options.tuning_folder = folder;
  return Clean(burst.Views(), &options);
}

// By the bytes: that of the three files is built in which the burst asks for, and no other.
TEST(Tuning, EachBurstGetsTheFileOfItsModeOrOfItsFusion) {
  for (const bool fused : {false, true}) {
    for (const int32_t mode : {ZOLT_BURST_FAST, ZOLT_BURST_FINE}) {
      const HandHeldBurst burst = Burst(fused);
      const auto expected = static_cast<size_t>(KindOf(mode, fused));
      const BurstResult built_in = With(burst, mode, nullptr);
      EXPECT_EQ(built_in.report.fused != 0, fused);
      for (size_t i = 0; i < std::size(kFolders); ++i) {
        const bool same = With(burst, mode, kFolders[i]).image == built_in.image;
        EXPECT_EQ(same, i == expected) << "mode " << mode << ", fused " << fused << ", file " << i;
      }
    }
  }
}

// The band is chosen before the file is, and fine mode may have to fall back to the other filter.
TEST(Tuning, TheBuiltInFilesHaveTheSameBandsAndThoseThatMergeTheSameFilter) {
  Tunings tunings;
  ASSERT_EQ(LoadTunings(nullptr, &tunings), ZOLT_BURST_OK);
  for (int band = 0; band < kIsoBands; ++band) {
    EXPECT_EQ(tunings.plain.bands[band].isovalue, tunings.fused.bands[band].isovalue);
    EXPECT_EQ(tunings.fine.bands[band].isovalue, tunings.fused.bands[band].isovalue);
    EXPECT_EQ(tunings.fine.bands[band].lumaHF1, tunings.plain.bands[band].lumaHF1);
    EXPECT_EQ(tunings.fine.bands[band].detail, tunings.plain.bands[band].detail);
  }
}

std::vector<uint8_t> OneByOne(const HandHeldBurst& burst, zolt_burst_options options) {
  options.expected_frames = static_cast<int32_t>(burst.frames.size());
  zolt_burst* handle = nullptr;
  EXPECT_EQ(zolt_burst_open(&handle, &options), ZOLT_BURST_OK);
  for (const zolt_burst_picture& frame : burst.Views())
    EXPECT_EQ(zolt_burst_add(handle, &frame), ZOLT_BURST_OK);
  HandHeldBurst output = MakeHandHeldBurst(kWidth, kHeight, 1, 0);
  const zolt_burst_picture view = output.View(0);
  EXPECT_EQ(zolt_burst_finish(handle, &view, nullptr, nullptr, 0), ZOLT_BURST_OK);
  zolt_burst_close(handle);
  return output.frames[0];
}

// The last frame's exposure is not known when the first ones are merged: they are merged as plain ones. With
// their ghost thresholds for the last frame too, the fusion was given up here.
TEST(Tuning, ABrighterLastFrameIsFusedWhereFramesComeOneByOne) {
  const HandHeldBurst burst = Burst(true);
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  options.mode = ZOLT_BURST_FINE;
  options.iso = 100;
  options.reference = 0;
  const BurstResult whole = Clean(burst.Views(), &options);
  EXPECT_GT(LumaPsnr(OneByOne(burst, options), whole.image, kWidth, kHeight), 38);
}

}  // namespace
}  // namespace zolt::test
