#include "fusion/exposure_fusion.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/alloc_hooks.h"
#include "base/result_codes.h"
#include "fusion/wavelet_detail_fusion.h"
#include "support/log_lines.h"
#include "support/stage_doubles.h"
#include "support/started_pool.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

using test::Frame;

constexpr int32_t kThresholds[40] = {200, 200, 200, 200, 100, 100, 100, 100};

/// A burst of six frames at its last one: accumulated image, aligned last frame, room that is far too small.
struct Burst {
  Burst(int w, int h, uint32_t seed = 1)
      : image(test::TexturedFrame(w, h, seed)), aligned(image), input(image), weight(w * h, 100) {
    test::AddNoise(&aligned, 3.0, 5);
    input = aligned;
    para.frameTotal = 6;
    para.bandLevels = 3;
    para.fusion_low = 300;
    para.fusion_high = 101;
    para.lumaLF = -85;
    para.detail = -60;
    para.chromaS = -50;
    para.chromaNrTable = kThresholds;
    para.SaturationGain = 20;
    para.chromaDetail = 200;
    para.registered = 1;
    for (int i = 0; i < 6; ++i) para.deghost[i] = i % 3 == 2 ? 60 : 20;
    para.boostDetail = 2;
    para.detailRestore = 60;
    para.detailMin = 2;
    para.iso = 1600;
  }
  /// Binds the pointers to this object first, so that a copy is a burst of its own.
  int32_t Run() {
    YuvImage last = input.image();
    para.weightMap = weight.data();
    para.input = &last;
    return ExposureFusion(image.image(), aligned.image(), para);
  }

  Frame image, aligned, input;
  std::vector<uint8_t> weight;
  FusionPara para = {};
};

double MeanError(const Frame& a, const Frame& b, size_t first, size_t last) {
  double sum = 0;
  for (size_t i = first; i < last; ++i) sum += std::abs(a.bytes[i] - b.bytes[i]);
  return sum / static_cast<double>(last - first);
}

TEST(ExposureFusion, FollowsABrighterLastFrame) {
  for (const int hdr : {0, 1}) {
    Burst burst(320, 272);
    Frame bright = burst.image;
    for (size_t i = 0; i < 320 * 272; ++i) {
      bright.bytes[i] = static_cast<uint8_t>(std::min(255, bright.bytes[i] * 3 / 2));
    }
    burst.aligned = bright;
    burst.para.HDRFusionFlag = hdr;
    const Frame before = burst.image;
    EXPECT_EQ(burst.Run(), 0);
    const double own = MeanError(burst.image, before, 0, 320 * 272);
    const double followed = MeanError(burst.image, bright, 0, 320 * 272);
    if (hdr == 0) {
      EXPECT_LT(followed, own);
    }
    EXPECT_GT(own, 5.0);
  }
}

TEST(ExposureFusion, RepeatsItsBytesAndTakesAnyRoom) {
  test::TestHooks::Reset();
  const MfAllocHooks hooks = test::TestHooks::Hooks();
  ChooseHooks(&hooks);
  std::vector<uint8_t> expected;
  for (const size_t room : {size_t{0}, size_t{1000000}, size_t{12000000}}) {
    for (const size_t offset : {0, 1, 3}) {
      Burst burst(272, 256);
      burst.para.ChromaFusionFlag = 1;
      burst.para.HDRFusionFlag = 1;
      std::vector<uint8_t> scratch(room + offset, 0x5A);
      burst.para.scratch = scratch.data() + offset;
      burst.para.scratchSize = room;
      EXPECT_EQ(burst.Run(), 0);
      if (expected.empty()) expected = burst.image.bytes;
      EXPECT_EQ(burst.image.bytes, expected) << room << '+' << offset;
    }
  }
  test::TestHooks::RefuseAllocation(0);
  Burst burst(272, 256);
  const Frame before = burst.image;
  EXPECT_EQ(burst.Run(), kNoMemory);
  EXPECT_EQ(burst.image.bytes, before.bytes);
  EXPECT_EQ(test::TestHooks::Outstanding(), 0);
  ChooseHooks(nullptr);
}

TEST(ExposureFusion, AFailingPoolLeavesTheImageAndNoThread) {
  for (int k = 0; k < 4; ++k) {
    Burst burst(256, 256);
    const Frame before = burst.image;
    const test::ThreadFailure failure(k);
    EXPECT_EQ(burst.Run(), kThreadFailure);
    EXPECT_EQ(burst.image.bytes, before.bytes);
    EXPECT_EQ(DenoisePool().counts().threads, 0);
    EXPECT_EQ(DenoisePool().counts().users, 0);
  }
}

// A last frame with a block of another colour: its share of the half-size frame decides.
Burst Moved(int rows) {
  Burst burst(512, 512);
  burst.para.ChromaFusionFlag = 1;
  // Grey everywhere, so that tones and masks are simple; the moved rows are far darker.
  burst.image = Frame(512, 512, 150, 128);
  burst.aligned = burst.image;
  for (int i = 0; i < rows * 512; ++i)
    burst.aligned.bytes[i] = static_cast<uint8_t>(i % 512 % 2 != 0 ? 20 : 24);
  return burst;
}

TEST(ExposureFusion, TooMuchGhostHandsTheImageBack) {
  Burst burst = Moved(504);
  for (int i = 0; i < 504 * 512; ++i) burst.aligned.bytes[i] = static_cast<uint8_t>(i / 8 % 2 != 0 ? 250 : 0);
  for (int32_t& threshold : burst.para.deghost) threshold = -1;  // everything counts as moved
  const Frame before = burst.image;
  test::TakeLogLines();
  EXPECT_EQ(burst.Run(), kTooMuchGhost);
  EXPECT_EQ(burst.image.bytes, before.bytes);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "ExposureFusion:too much ghost!"));
  EXPECT_EQ(DenoisePool().counts().threads, 0);
  burst.para.ChromaFusionFlag = 0;
  EXPECT_EQ(burst.Run(), 0) << "without the check there is no way back";
  burst.image = before;
  burst.para.ChromaFusionFlag = 1;
  burst.para.registered = 0;
  EXPECT_EQ(burst.Run(), 0) << "nor for a frame that could not be aligned";
}

// Half size has 128 x 128 = 16384 pixels: up to a third of them chroma is mixed, up to seven eighths nothing
// of the last frame's bands enters, above that there is no fusion.
TEST(ExposureFusion, TheCountOfMovedPixelsHasThreeOutcomesWithExactLimits) {
  const auto fused = [](uint32_t moved, int32_t expected) {
    test::StageDoubles doubles;
    doubles.ghost = [moved](GhostStageInput*, const GhostMask& mask) {
      *mask.count = moved;
      return 0;
    };
    Burst burst(256, 256);
    burst.para.ChromaFusionFlag = 1;
    const Frame before = burst.image;
    EXPECT_EQ(burst.Run(), expected) << moved;
    if (expected != 0) {
      EXPECT_EQ(burst.image.bytes, before.bytes);
    }
    return burst.image.bytes;
  };
  const std::vector<uint8_t> mixed = fused(0, 0), kept = fused(5462, 0);
  EXPECT_EQ(fused(5461, 0), mixed);
  EXPECT_NE(kept, mixed);
  EXPECT_EQ(fused(14336, 0), kept);
  fused(14337, kTooMuchGhost);
}

TEST(ExposureFusion, AStillDarkSceneTakesTheLastFrameAlone) {
  Burst burst(256, 272);
  for (size_t i = 0; i < 256 * 272; ++i)
    burst.image.bytes[i] = static_cast<uint8_t>(burst.image.bytes[i] / 8);
  burst.para.maxShift = 4;
  burst.para.motionMax = 3;
  burst.para.isoTH = 1599;
  burst.para.ghostTH = 0.01f;
  burst.para.ghostTotal = 695;  // of 696.32
  burst.para.lumaTH = 60;
  burst.para.detailRestore = 128;
  burst.para.SaturationGain = 0;
  const Burst ready = burst;
  const auto run = [&](auto change) {
    Burst b = ready;
    change(b.para);
    EXPECT_EQ(b.Run(), 0);
    return b;
  };
  const Burst still = run([](FusionPara&) {});
  EXPECT_EQ(still.weight, std::vector<uint8_t>(256 * 272, 100));
  EXPECT_LT(MeanError(still.image, still.input, 0, 256 * 272), 4.0);
  // Each condition alone turns to the tone-matched path, whose result is another.
  for (const int condition : {0, 1, 2, 3}) {
    const Burst other = run([&](FusionPara& p) {
      if (condition == 0) p.motionMax = 4;
      if (condition == 1) p.isoTH = 1600;
      if (condition == 2) p.ghostTotal = 697;
      if (condition == 3) p.lumaTH = 1;
    });
    EXPECT_NE(other.image.bytes, still.image.bytes) << condition;
  }
}

TEST(ExposureFusion, AStillFrameOfAPaddedBurstIsPaddedLikeTheOthers) {
  Burst burst(256, 272);
  burst.para.maxShift = 1000;
  burst.para.ghostTH = 1.0f;
  burst.para.lumaTH = 256;
  const Burst ready = burst;
  Burst padded = ready;
  Frame small(248, 264);
  const YuvImage from = padded.aligned.image(), to = small.image();
  for (int y = 0; y < 264; ++y) std::copy_n(from.y + y * 256, 248, to.y + y * 248);
  for (int y = 0; y < 132; ++y) {
    std::copy_n(from.u + y * 128, 124, to.u + y * 124);
    std::copy_n(from.v + y * 128, 124, to.v + y * 124);
  }
  padded.input = small;
  EXPECT_EQ(padded.Run(), 0);
  EXPECT_LT(MeanError(padded.image, padded.aligned, 0, 256 * 240), 6.0);
}

TEST(WaveletDetailFusion, ZeroThresholdsKeepThePreparedLuma) {
  const test::StartedPool pool(DenoisePool());
  for (const auto& [w, h] : {std::pair{256, 256}, {272, 336}}) {
    const auto work = test::RandomPlane<uint8_t>(w * h), aligned = test::RandomPlane<uint8_t>(w * h + 1);
    const auto other = test::RandomPlane<uint8_t>(w * h, 9);
    const std::vector<uint8_t> weight(w * h, 0);
    FusionPara fusion = {};
    fusion.weightMap = const_cast<uint8_t*>(weight.data());
    fusion.bandLevels = 3;
    fusion.lumaLF = -100;  // the recursive filter is off too
    fusion.weightShift = 8;
    std::vector<uint8_t> arena(WaveletFusionArenaSize(w, h)), out(w * h), again(w * h);
    EXPECT_EQ(WaveletDetailFusion(work.data(), aligned.data(), out.data(), arena.data(), w, h, fusion), 0);
    for (int i = 0; i < w * h; ++i) ASSERT_EQ(out[i], (work[i] * 255 + 128) >> 8) << i;
    fusion.lumaLF = -60;
    fusion.detail = -90;
    EXPECT_EQ(WaveletDetailFusion(work.data(), aligned.data(), out.data(), arena.data(), w, h, fusion), 0);
    EXPECT_EQ(WaveletDetailFusion(work.data(), other.data(), again.data(), arena.data(), w, h, fusion), 0);
    EXPECT_EQ(out, again) << "the aligned frame has no say";
  }
}

}  // namespace
}  // namespace zolt
