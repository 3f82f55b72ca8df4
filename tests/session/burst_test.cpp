#include "session/burst.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "session/mf_session.h"
#include "support/log_lines.h"
#include "support/session_driver.h"
#include "support/slow_burst.h"
#include "support/stage_doubles.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

using test::FlatFrame;
using test::SessionDriver;
using test::TestHooks;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kFormats[] = {ZOLT_MF_FORMAT_NV21, ZOLT_MF_FORMAT_NV12, ZOLT_MF_FORMAT_I420};

class Burst : public testing::Test {
 protected:
  Burst() {
    TestHooks::Reset();
    stages.FoldOnly();
    test::TakeLogLines();
  }
  ~Burst() override { TestHooks::FreeAll(); }

  /// The k-th later frame fails with this code in registration; others fold.
  void FailLaterFrame(int k, int32_t code) {
    stages.registration = [this, k, code](RegistrationInput*, MotionModel*, uint8_t*, uint64_t) {
      return later_frames++ == k ? code : 3;
    };
  }
  test::StageDoubles stages;
  int later_frames = 0;
};

uint8_t Fold(int a, int b, int share) {
  return static_cast<uint8_t>((share * a + (256 - share) * b + 128) >> 8);
}

TEST_F(Burst, ThreeFramesFoldToTheSameImageInEveryFormat) {
  for (const uint32_t format : kFormats) {
    SCOPED_TRACE(format);
    SessionDriver driver(80, 64, format);
    const Bytes untouched = driver.result;
    ASSERT_EQ(driver.Frame(FlatFrame(80, 64, format, 100, 90, 200), 0, 3), 0);
    EXPECT_EQ(driver.result, untouched);
    ASSERT_EQ(driver.Frame(FlatFrame(80, 64, format, 130, 60, 220), 1, 3), 0);
    // Between frames the result is planar whatever the layout.
    const uint8_t y = Fold(100, 130, 156), u = Fold(90, 60, 156), v = Fold(200, 220, 156);
    EXPECT_EQ(driver.result, FlatFrame(80, 64, ZOLT_MF_FORMAT_I420, y, u, v));
    ASSERT_EQ(driver.Frame(FlatFrame(80, 64, format, 10, 20, 30), 2, 3), 0);
    EXPECT_EQ(driver.result, FlatFrame(80, 64, format, Fold(y, 10, 156), Fold(u, 20, 156), Fold(v, 30, 156)));
    EXPECT_EQ(TestHooks::Outstanding(), 0);
  }
}

TEST_F(Burst, TheHookSeesEachBlockWithItsPool) {
  struct Case {
    int w, h, eis, frames;
    std::vector<uint32_t> beside;  ///< what the last frame takes beside the block, and gives back
  };
  const uint32_t copy = 272 * 288 * 5 / 2;
  const Case cases[] = {{248, 256, 0, 3, {}},
                        {256, 272, 0, 3, {256 * 272 / 2, 0}},
                        {256, 272, 1, 5, {256 * 272 / 2, 0}},
                        {264, 280, 0, 5, {264 * 280 / 2, copy, 0, 0}},
                        {264, 280, 1, 5, {264 * 280 / 2, copy, copy, 0, 0, 0}}};
  int fusions = 0;
  stages.fusion = [&](const YuvImage&, const YuvImage&, const FusionPara& fusion) {
    std::fill_n(fusion.scratch, fusion.scratchSize, uint8_t{9});
    return 0 * ++fusions;
  };
  for (const Case& c : cases) {
    // The first frame's extra decides, whatever the file says and the later frames say.
    SessionDriver driver(c.w, c.h, ZOLT_MF_FORMAT_NV12,
                         {{"Global/ExposureFusionFlag", std::to_string(1 - c.eis)}});
    const MfFrameExtra first = {0, c.eis, 0, 0}, later = {0, 1 - c.eis, 0, 0};
    MemoryPlan plan;
    ASSERT_TRUE(MakeMemoryPlan(c.w, c.h, false, c.eis == 0, &plan));
    const Bytes frame = FlatFrame(c.w, c.h, driver.format, 1, 2, 3);
    std::vector<uint32_t> expected = {static_cast<uint32_t>(plan.block_size)}, seen;
    expected.insert(expected.end(), c.beside.begin(), c.beside.end());
    expected.push_back(0);
    TestHooks::Reset();
    for (int k = 0; k < c.frames; ++k) {
      driver.extra = k == 0 ? &first : &later;
      ASSERT_EQ(driver.Frame(frame, k == 0 ? 0 : k == c.frames - 1 ? 2 : 1, c.frames), 0);
    }
    for (const test::HookCall& call : TestHooks::Calls()) {
      seen.push_back(call.size);
      EXPECT_EQ(call.pool, "mfdenoise");
      EXPECT_EQ(call.flags, 0u);
    }
    EXPECT_EQ(seen, expected) << c.w << " eis " << c.eis;
  }
  EXPECT_EQ(fusions, 2);
}

TEST_F(Burst, WithTwoFramesTheSecondIsTheLastWhateverItsTag) {
  // A map that ghost detection leaves unwritten says that nothing moved.
  stages.ghost = [](GhostStageInput*, const GhostMask& mask) {
    return static_cast<int32_t>(*mask.count = 0);
  };
  for (const int tag : {1, 2}) {
    SessionDriver driver(64, 64, ZOLT_MF_FORMAT_NV21);
    ASSERT_EQ(driver.Frame(FlatFrame(64, 64, driver.format, 10, 20, 30), 0, 2), 0);
    ASSERT_EQ(driver.Frame(FlatFrame(64, 64, driver.format, 20, 40, 60), tag, 2), 0);
    EXPECT_EQ(driver.result, FlatFrame(64, 64, driver.format, 15, 30, 45));
    EXPECT_EQ(TestHooks::Outstanding(), 0);
    test::TakeLogLines();
    EXPECT_EQ(driver.Frame(driver.result, 1, 2), ZOLT_MF_LOAD_FAILURE);
    EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "PublicMem Is Null!"));
  }
}

TEST_F(Burst, ALastTagOnTheFirstLaterFrameDoesNotEndTheBurst) {
  SessionDriver driver(64, 64);
  const Bytes frame = FlatFrame(64, 64, driver.format, 10, 20, 30);
  ASSERT_EQ(driver.Frame(frame, 0, 3), 0);
  ASSERT_EQ(driver.Frame(frame, 2, 3), 0);
  EXPECT_EQ(TestHooks::Outstanding(), 1);
  ASSERT_EQ(driver.Frame(frame, 1, 3), 0);
  ASSERT_EQ(driver.Frame(frame, 2, 3), 0);
  EXPECT_EQ(TestHooks::Outstanding(), 0);
}

TEST_F(Burst, AFailedFrameFallsBackToTheFirstAndALastOneToItself) {
  for (const uint32_t format : kFormats) {
    SCOPED_TRACE(format);
    later_frames = 0;
    FailLaterFrame(1, -1000);
    SessionDriver driver(72, 64, format);
    const Bytes first = test::RandomPlane<uint8_t>(72 * 64 * 3 / 2);
    const Bytes other = FlatFrame(72, 64, format, 9, 8, 7);
    ASSERT_EQ(driver.Frame(first, 0, 4), 0);
    ASSERT_EQ(driver.Frame(other, 1, 4), 0);
    test::TakeLogLines();
    ASSERT_EQ(driver.Frame(other, 1, 4), -1000);
    EXPECT_EQ(driver.result, first);
    const auto lines = test::TakeLogLines();
    EXPECT_TRUE(test::Contains(lines, 6, "ImgRegistration return -1000."));
    EXPECT_TRUE(test::Contains(lines, 6, "TwoFramesDeNoise return -1000."));
    EXPECT_EQ(lines.back().level, 4);
    EXPECT_NE(lines.back().text.find(", IIRImgNum = 2, ret = -1000."), std::string::npos);
    // Further frames leave the result alone, even when frame_total says that they are the last.
    EXPECT_EQ(driver.Frame(other, 1, 2), -1000);
    EXPECT_EQ(driver.result, first);
    EXPECT_EQ(driver.Frame(other, 2, 4), -1000);
    EXPECT_EQ(driver.result, other);
    // Even those that a running burst would turn down; no more of them is copied than they have.
    driver.width = 64;
    driver.format = ZOLT_MF_FORMAT_NV12;
    EXPECT_EQ(driver.Frame(Bytes(64 * 64 * 3 / 2, 33), 1, 4), -1000);
    EXPECT_EQ(driver.Frame(Bytes(64 * 64 * 3 / 2, 44), 2, 4), -1000);
    EXPECT_EQ(driver.result[64 * 64 * 3 / 2 - 1], 44);
    EXPECT_EQ(driver.result[64 * 64 * 3 / 2], other[64 * 64 * 3 / 2]);
    driver.width = 72;
    driver.format = format;
    EXPECT_EQ(TestHooks::Outstanding(), 1);
    // A new burst forgets the block that the lost one held.
    ASSERT_EQ(driver.Frame(first, 0, 2), 0);
    ASSERT_EQ(driver.Frame(first, 1, 2), 0);
    EXPECT_EQ(driver.result, first);
    driver.End();
    EXPECT_EQ(TestHooks::Outstanding(), 1);
    TestHooks::FreeAll();
  }
}

TEST_F(Burst, NoiseReductionOffGivesTheFirstFrameAndTwo) {
  SessionDriver driver(64, 64, ZOLT_MF_FORMAT_NV21, {{"Global/NoiseReductionFlag", "0"}});
  const Bytes first = test::RandomPlane<uint8_t>(64 * 64 * 3 / 2);
  ASSERT_EQ(driver.Frame(first, 0, 3), 0);
  test::TakeLogLines();
  EXPECT_EQ(driver.Frame(FlatFrame(64, 64, driver.format, 1, 2, 3), 1, 3), ZOLT_MF_OFF);
  EXPECT_EQ(driver.result, first);
  for (const test::LogLine& line : test::TakeLogLines()) EXPECT_EQ(line.level, 4) << line.text;
}

TEST_F(Burst, ARefusedBlockLeavesNoBurstButAnOlderBlockIsGivenBack) {
  SessionDriver driver(64, 64);
  const Bytes frame = FlatFrame(64, 64, driver.format, 1, 2, 3);
  ASSERT_EQ(driver.Frame(frame, 0, 3), 0);
  TestHooks::RefuseAllocation(0);
  EXPECT_EQ(driver.Frame(frame, 0, 3), ZOLT_MF_NO_MEMORY);
  EXPECT_EQ(driver.Frame(frame, 1, 3), ZOLT_MF_LOAD_FAILURE);
  EXPECT_EQ(TestHooks::Outstanding(), 1);
  EXPECT_EQ(driver.End(), 0);
  EXPECT_EQ(TestHooks::Outstanding(), 0);
  EXPECT_EQ(TestHooks::Calls().back().pool, "mfdenoise");
  EXPECT_EQ(TestHooks::Calls().back().flags, 0u);
}

TEST_F(Burst, ALaterFrameThatDoesNotMatchTheFirstChangesNothing) {
  SessionDriver driver(64, 72);
  const Bytes first = FlatFrame(64, 72, driver.format, 10, 20, 30);
  ASSERT_EQ(driver.Frame(first, 0, 3), 0);
  const Bytes before = driver.result;
  test::TakeLogLines();
  driver.width = 72;
  driver.height = 64;
  EXPECT_EQ(driver.Frame(first, 1, 3), ZOLT_MF_BAD_SIZE);
  driver.width = 64;
  driver.height = 72;
  driver.format = ZOLT_MF_FORMAT_NV12;
  EXPECT_EQ(driver.Frame(first, 1, 3), ZOLT_MF_BAD_ARGUMENT);
  const auto lines = test::TakeLogLines();
  EXPECT_TRUE(test::Contains(lines, 6, "ImageSize Not Support"));
  EXPECT_TRUE(test::Contains(lines, 6, "Image Format Not Support"));
  EXPECT_EQ(driver.result, before);
  driver.format = ZOLT_MF_FORMAT_I420;
  EXPECT_EQ(driver.Frame(FlatFrame(64, 72, driver.format, 20, 40, 50), 1, 2), 0);
  EXPECT_EQ(driver.result, FlatFrame(64, 72, driver.format, 15, 30, 40));
}

TEST_F(Burst, FramesOfABurstMayDifferInLayout) {
  for (const uint32_t last : kFormats) {
    for (const bool lost : {false, true}) {
      SessionDriver driver(64, 64, ZOLT_MF_FORMAT_NV21);
      later_frames = 0;
      FailLaterFrame(1, lost ? -8 : 3);
      for (int tag = 0; tag < 3; ++tag) {
        driver.format = tag == 0 ? kFormats[0] : tag == 1 ? kFormats[2] : last;
        ASSERT_EQ(driver.Frame(FlatFrame(64, 64, driver.format, 10, 20, 30), tag, 3),
                  tag == 2 && lost ? -8 : 0);
      }
      EXPECT_EQ(driver.result, FlatFrame(64, 64, last, 10, 20, 30));
    }
  }
}

TEST_F(Burst, InterleavedSessionsKeepTheirOwnFirstFrames) {
  SessionDriver one(64, 64), two(72, 64);
  Bytes seen;
  stages.ghost = [&](GhostStageInput* input, const GhostMask& mask) {
    seen.push_back(input->firstImages.images[0].y[0]);
    std::fill_n(mask.map, input->images.images[0].width * input->images.images[0].height, uint8_t{0});
    *mask.count = 0;
    return 0;
  };
  ASSERT_EQ(one.Frame(FlatFrame(64, 64, 2, 11, 0, 0), 0, 3), 0);
  ASSERT_EQ(two.Frame(FlatFrame(72, 64, 2, 22, 0, 0), 0, 3), 0);
  for (int frame = 0; frame < 2; ++frame) {
    ASSERT_EQ(one.Frame(FlatFrame(64, 64, 2, 99, 0, 0), 1 + frame, 3), 0);
    ASSERT_EQ(two.Frame(FlatFrame(72, 64, 2, 99, 0, 0), 1 + frame, 3), 0);
  }
  EXPECT_EQ(seen, (Bytes{11, 22, 11, 22}));
}

TEST_F(Burst, ThreadsThatDoNotStartLoseTheFoldButNoPlane) {
  // A three-frame interleaved burst starts these threads: first frame 4 + 4, then per later frame 4 for the
  // split and 4 for the fold, at the end 4 + 4 for the merge and the copy.
  int attempts = 0;
  {
    const test::ThreadFailure none(-1);
    SessionDriver driver(64, 64, ZOLT_MF_FORMAT_NV12);
    const Bytes frame = FlatFrame(64, 64, driver.format, 10, 20, 30);
    for (int tag = 0; tag < 3; ++tag) ASSERT_EQ(driver.Frame(frame, tag, 3), 0);
    attempts = none.attempts();
  }
  EXPECT_EQ(attempts, 8 + 8 + 8 + 8);
  for (int k = 0; k < attempts; ++k) {
    SCOPED_TRACE(k);
    SessionDriver driver(64, 64, ZOLT_MF_FORMAT_NV12);
    const Bytes frame = FlatFrame(64, 64, driver.format, 10, 20, 30);
    int32_t status = 0;
    {
      const test::ThreadFailure failure(k, /*all_after=*/true);
      for (int tag = 0; tag < 3 && status == 0; ++tag) status = driver.Frame(frame, tag, 3);
    }
    // Only the folds need their threads. As every later start fails too, an earlier failure meets a fold.
    EXPECT_EQ(status, k < 24 ? ZOLT_MF_LOAD_FAILURE : 0);
    EXPECT_EQ(driver.result, frame);
  }
}

/// A planar frame in the caller's layout.
Bytes InLayout(const Bytes& planar, uint32_t format) {
  if (format == ZOLT_MF_FORMAT_I420) return planar;
  Bytes frame = planar;
  const size_t luma = planar.size() * 2 / 3, chroma = luma / 4;
  const size_t u = format == ZOLT_MF_FORMAT_NV12 ? 0 : 1;
  for (size_t i = 0; i < chroma; ++i) {
    frame[luma + 2 * i + u] = planar[luma + i];
    frame[luma + 2 * i + 1 - u] = planar[luma + chroma + i];
  }
  return frame;
}

struct WholeBurst {
  int w, h, frames;
  uint32_t format;
  test::SceneLevels levels;
};

/// Noisy frames of one scene; a bar of another scene wanders through the later ones.
std::vector<test::Frame> NoisyFrames(int w, int h, int count) {
  std::vector<test::Frame> frames;
  const test::Frame other = test::TexturedFrame(w, h, 5);
  for (int k = 0; k < count; ++k) {
    // In a long burst the first later frame shows something else: no fold.
    frames.push_back(k == 1 && count > 5 ? other : test::TexturedFrame(w, h));
    const int left = w * k / 12;
    for (int y = 0; k > 0 && y < h * 3 / 2; ++y) {
      const auto at = static_cast<size_t>(y * w + left);
      std::copy_n(other.bytes.begin() + static_cast<int64_t>(at), w / 24,
                  frames.back().bytes.begin() + static_cast<int64_t>(at));
    }
    test::AddNoise(&frames.back(), 4.0, static_cast<uint32_t>(k));
  }
  return frames;
}

TEST(BurstWithRealStages, EqualsTheSlowBurst) {
  const std::string thresholds = "90 80 70 60 50 40 30 20 10 ";
  const std::map<std::string, std::string> keys = {
      {"Global/LumaEnhancementFlag", "1"},
      {"LumaEnhancement",
       "<maxGain>40</maxGain><chromaGain>12</chromaGain><lumaTH>900</lumaTH><peakTH>800</peakTH>"},
      {"ChromaEnhancement", "<enhancementLevel>4</enhancementLevel><chromaDetail>90</chromaDetail>"},
      {"NoiseReduction/ISO1",
       "<lumaMed>1</lumaMed><lumaLF>-40</lumaLF><lumaHF1>-70</lumaHF1><lumaHF2>-80</lumaHF2><lumaHF3>-60</"
       "lumaHF3>"
       "<chromaS>-60</chromaS><detail>-70</detail><chromaNrLUT>" +
           thresholds + thresholds + thresholds + thresholds + "90 80 70 60</chromaNrLUT>"}};
  const std::vector<WholeBurst> bursts = {
      {248, 72, 3, ZOLT_MF_FORMAT_NV21, {90, 200}},  {256, 272, 2, ZOLT_MF_FORMAT_I420, {64, 70}},
      {264, 280, 3, ZOLT_MF_FORMAT_NV12, {65, 200}}, {272, 272, 6, ZOLT_MF_FORMAT_NV21, {210, 250}},
      {280, 264, 5, ZOLT_MF_FORMAT_I420, {40, 12}},  {408, 328, 10, ZOLT_MF_FORMAT_NV12, {120, 230}}};
  TestHooks::Reset();
  SessionDriver driver(64, 64, 0, keys);  // one session for all: nothing of a burst may reach the next
  driver.iso = 50;
  for (const WholeBurst& b : bursts) {
    SCOPED_TRACE(testing::Message() << b.w << "x" << b.h << ", " << b.frames << " frames");
    test::StageDoubles stages;
    int aligned = 0;
    stages.registration = [&](RegistrationInput* request, MotionModel* model, uint8_t*, uint64_t) {
      EXPECT_EQ(request->isFirstFrame, aligned++ == 0 ? 1 : 0);
      model->peakLevel = b.levels.peak;
      model->lumaLevel = b.levels.luma;
      return 3;
    };
    std::vector<test::Frame> frames = NoisyFrames(b.w, b.h, b.frames);
    driver.width = b.w;
    driver.height = b.h;
    driver.format = b.format;
    driver.result.assign(frames[0].bytes.size(), 0x5A);
    for (int k = 0; k < b.frames; ++k) {
      const int tag = k == 0 ? 0 : k == b.frames - 1 ? 2 : 1;
      ASSERT_EQ(driver.Frame(InLayout(frames[static_cast<size_t>(k)].bytes, b.format), tag, b.frames), 0);
    }
    EXPECT_GT(driver.session->ghostCount, 1000u);
    EXPECT_EQ(driver.session->IIRImgNum, b.frames > 5 ? b.frames - 1 : b.frames);
    const Bytes expected = test::SlowBurst(frames, driver.session->parameters, b.levels);
    EXPECT_TRUE(driver.result == InLayout(expected, b.format));
  }
}

}  // namespace
}  // namespace zolt
