#include "fusion/exposure_fusion.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/alloc_hooks.h"
#include "base/result_codes.h"
#include "support/digest.h"
#include "support/log_lines.h"
#include "support/slow_planes.h"
#include "support/stage_doubles.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

using test::Frame;

/// A burst at its last frame: accumulated image in strong colours, a brighter last frame with noise,
/// blown-out parts and a strip that moved, uneven frame counts, no room at all.
struct Burst {
  Burst(int w, int h, int frames = 6)
      : image(test::TexturedFrame(w, h)), aligned(image), input(image), weight(w * h), thresholds(40) {
    const size_t luma = weight.size();
    const Frame other = test::TexturedFrame(w, h, 4);
    for (size_t i = 0; i < image.bytes.size(); ++i) {
      uint8_t& v = image.bytes[i];
      if (i >= luma) v = static_cast<uint8_t>(std::clamp(128 + (v - 128) * 5 / 2, 0, 255));
      const bool moved = i < luma && i % w * 8 / w == 3;
      aligned.bytes[i] =
          moved ? other.bytes[i] : static_cast<uint8_t>(i < luma ? std::min(255, v * 3 / 2) : v);
    }
    test::AddNoise(&aligned, 3.0, 5);
    input = aligned;
    for (size_t i = 0; i < luma; ++i) weight[i] = static_cast<uint8_t>(25 * (i / 40 % frames));
    for (int i = 0; i < 40; ++i) thresholds[i] = 60 + i;
    para.frameTotal = static_cast<uint8_t>(frames);
    para.bandLevels = 3;
    para.fusion_low = 300;
    para.fusion_high = 101;
    para.lumaLF = -85;
    para.detail = -60;
    para.chromaS = -50;
    para.SaturationGain = 20;
    para.chromaDetail = 200;
    para.registered = 1;
    std::copy_n(std::begin({60, 64, 100, 40, 44, 120}), 6, para.deghost);
    para.boostDetail = 2;
    para.detailRestore = 60;
    para.detailMin = 2;
    para.iso = 1600;
  }
  /// Binds the pointers to this object first, so that a copy is a burst of its own.
  int32_t Run() {
    YuvImage last = input.image();
    para.weightMap = weight.data();
    para.chromaNrTable = thresholds.data();
    para.input = &last;
    return ExposureFusion(image.image(), aligned.image(), para);
  }
  uint64_t PlaneDigest(int plane) const {
    const size_t n = weight.size(), start = plane == 0 ? 0 : n + (plane - 1) * n / 4;
    return test::Digest(&image.bytes[start], plane == 0 ? n : n / 4);
  }

  Frame image, aligned, input;
  std::vector<uint8_t> weight;
  std::vector<int32_t> thresholds;
  FusionPara para = {};
};

/// No motion, a mean of any brightness.
void Still(FusionPara& p) {
  p.maxShift = 1;
  p.ghostTH = 1.0f;
  p.lumaTH = 256;
}

// What the kernels must do, their own tests say; these bytes hold the whole together, on every processor.
TEST(ExposureFusion, GivesTheKnownBytes) {
  const struct {
    int w, h, frames;
    void (*change)(FusionPara&);
    uint64_t y, u, v;
  } cases[] = {
      {256, 256, 6, [](FusionPara&) {}, 0x1B8F36C25AFC1E46, 0x1AE40B8B76C8D8A7, 0xA7A2F1B9D929D703},
      {528, 544, 5, [](FusionPara& p) { p.ChromaFusionFlag = 1; }, 0xC49610D3F520F35A, 0x9BCB0BCBC174B92D,
       0x95B259EAF99D2032},
      {1232, 256, 8, [](FusionPara& p) { p.HDRFusionFlag = 1; }, 0x6344406494F50645, 0xFB4AC17D2DA1FA2C,
       0xDD8948EA820379B8},
      {272, 336, 8,
       [](FusionPara& p) {
         p.ChromaFusionFlag = p.HDRFusionFlag = 1, p.fusion_low = 30000, p.fusion_high = 9999,
         p.detailRestore = 255;
       },
       0x6CD2E8D209230EA8, 0x366D946925EBD0EC, 0x0913DDA3D7FEC6F4},
      {288, 256, 2, [](FusionPara& p) { p.fusion_low = p.fusion_high = 0, p.chromaS = -63, p.detail = 5; },
       0x6C15188A4812AF25, 0xA9189C4A5EC0151B, 0xA1FCC8E756917FE2},
      {256, 304, 10,
       [](FusionPara& p) { p.fusion_high = -7, p.detail = -90, p.SaturationGain = -24, p.chromaDetail = -1; },
       0x1FFD93B6B786DBAD, 0x98B5E4F478781F86, 0x78C2F045616885CF},
      {272, 256, 3,
       [](FusionPara& p) { p.registered = 0, p.ChromaFusionFlag = p.HDRFusionFlag = 1, p.boostDetail = 9; },
       0x7A82E74A19962A5F, 0x9A765DC02BA269BA, 0x7619C010EC0ACC3E},
      {256, 272, 6, [](FusionPara& p) { Still(p); }, 0xCC0D38B8B74509DA, 0x7326982DAE16BB12,
       0xE08DE51F3BEC7DF3},
      {272, 256, 10,
       [](FusionPara& p) { Still(p), p.SaturationGain = 0, p.detailRestore = 128, p.boostDetail = 7; },
       0x21191E9D91565272, 0xF990C5B988375E01, 0x3EE7AEE93D12ACA0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << ", " << c.frames << " frames");
    Burst burst(c.w, c.h, c.frames);
    c.change(burst.para);
    const bool still = burst.para.maxShift > 0;
    // As it came, before it was padded to multiples of 16.
    if (still) burst.input = test::TexturedFrame(c.w - c.w % 32 / 2, c.h - c.h % 32 / 2);
    const std::vector<uint8_t> before = burst.weight;
    EXPECT_EQ(burst.Run(), 0);
    EXPECT_EQ(burst.PlaneDigest(0), c.y);
    EXPECT_EQ(burst.PlaneDigest(1), c.u);
    EXPECT_EQ(burst.PlaneDigest(2), c.v);
    const auto all_but_two = static_cast<uint8_t>(25 * (c.frames - 2));
    EXPECT_EQ(burst.weight, still ? std::vector<uint8_t>(before.size(), all_but_two) : before);
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

// Half size has 128 x 128 = 16384 pixels: up to a third of them chroma is mixed, up to seven eighths nothing
// of the last frame's bands enters, above that there is no fusion, nor if nobody could tell what moved.
TEST(ExposureFusion, TheCountOfMovedPixelsHasThreeOutcomesWithExactLimits) {
  const auto fused = [](uint32_t moved, int32_t failure, int32_t expected) {
    test::StageDoubles doubles;
    doubles.ghost = [&](GhostStageInput*, const GhostMask& mask) {
      *mask.count = moved;
      return failure;
    };
    Burst burst(256, 256);
    burst.para.ChromaFusionFlag = 1;
    const Frame before = burst.image;
    test::TakeLogLines();
    EXPECT_EQ(burst.Run(), expected) << moved;
    EXPECT_EQ(burst.image.bytes == before.bytes, expected != 0);
    EXPECT_EQ(test::Contains(test::TakeLogLines(), 6, "ExposureFusion:too much ghost!"), expected != 0);
    EXPECT_EQ(DenoisePool().counts().threads, 0);
    return burst.image.bytes;
  };
  const std::vector<uint8_t> mixed = fused(0, 0, 0), kept = fused(5462, 0, 0);
  EXPECT_EQ(fused(5461, 0, 0), mixed);
  EXPECT_NE(kept, mixed);
  EXPECT_EQ(fused(14336, 0, 0), kept);
  fused(14337, 0, kTooMuchGhost);
  for (const int32_t failure : {1, -997, -1000}) fused(0, failure, kTooMuchGhost);
  Burst unaligned(256, 256);
  unaligned.para.ChromaFusionFlag = 1;
  unaligned.para.registered = 0;  // all counts as moved, and nobody looks
  EXPECT_EQ(unaligned.Run(), 0);
  EXPECT_EQ(unaligned.image.bytes, kept);
}

TEST(ExposureFusion, GhostsAreSoughtAtHalfSizeInImagesOfLikeTones) {
  Burst burst(272, 256);
  burst.para.ChromaFusionFlag = 1;
  test::StageDoubles doubles;
  bool called = false;
  doubles.ghost = [&](GhostStageInput* input, const GhostMask& mask) {
    called = true;
    const YuvImage &size = input->images.images[0], &aligned = input->images.images[1],
                   &matched = input->firstImages.images[0];
    EXPECT_EQ(input->images.count, 2);
    EXPECT_EQ(input->firstImages.count, 1);
    for (const YuvImage& image : {size, aligned, matched}) {
      EXPECT_EQ(std::vector({image.width, image.height, image.pitch}), (std::vector{136, 128, 136}));
    }
    EXPECT_EQ(input->enabled, 1);
    const GhostThresholds& t = input->thresholds;
    EXPECT_EQ(std::vector({t.lumaTH_Low, t.lumaTH_High, t.lumaNoiseTH, t.chromaTH_Low, t.chromaTH_High,
                           t.chromaNoiseTH}),
              std::vector(burst.para.deghost, burst.para.deghost + 6));
    EXPECT_EQ(*mask.count, 0u);
    EXPECT_EQ(std::count(mask.map, mask.map + 136 * 128, 0), 136 * 128);
    std::fill_n(input->scratch, input->scratchSize, uint8_t{0xA5});  // all of it is free
    const YuvImage full = burst.aligned.image();
    const auto expect_half = [](const uint8_t* plane, const uint8_t* half, int w, int h) {
      const std::vector<int> slow = test::Box2(test::Plane(plane, w, h)).v;
      EXPECT_TRUE(std::equal(slow.begin(), slow.end(), half));
    };
    expect_half(full.y, aligned.y, 272, 256);
    expect_half(full.u, aligned.u, 136, 128);
    expect_half(full.v, aligned.v, 136, 128);
    uint64_t digests[3] = {test::Digest(matched.y, 136 * 128), test::Digest(matched.u, 68 * 64),
                           test::Digest(matched.v, 68 * 64)};
    EXPECT_EQ(digests[0], 0xBC9EC67D38591977);
    EXPECT_EQ(digests[1], 0x6E70EA8D8C1B137C);
    EXPECT_EQ(digests[2], 0x77CF7FB240912211);
    return 0;
  };
  EXPECT_EQ(burst.Run(), 0);
  EXPECT_TRUE(called);
}

// Every fourth pixel of every fourth row counts: 40, and 104 along the border, which makes a mean of 43.9.
TEST(ExposureFusion, StillnessAndDarknessHaveExactLimits) {
  const auto still = [](void (*change)(FusionPara&)) {
    Burst burst(256, 256);
    for (int i = 0; i < 256 * 256; ++i) {
      const int x = i % 256, y = i / 256;
      const bool border = x < 4 || x >= 252 || y < 4 || y >= 252;
      burst.image.bytes[i] = x % 4 != 0 || y % 4 != 0 ? 255 : border ? 104 : 40;
    }
    burst.para.maxShift = 4;
    burst.para.motionMax = 3;
    burst.para.isoTH = 1599;
    burst.para.ghostTH = 0.015625f;  // 1024 pixels
    burst.para.ghostTotal = 1023;
    burst.para.lumaTH = 44;
    change(burst.para);
    EXPECT_EQ(burst.Run(), 0);
    return burst.weight[0] == 100;
  };
  EXPECT_TRUE(still([](FusionPara&) {}));
  EXPECT_FALSE(still([](FusionPara& p) { p.motionMax = 4; }));
  EXPECT_FALSE(still([](FusionPara& p) { p.isoTH = 1600; }));
  EXPECT_FALSE(still([](FusionPara& p) { p.ghostTotal = 1024; }));
  EXPECT_FALSE(still([](FusionPara& p) { p.lumaTH = 43; }));
}

}  // namespace
}  // namespace zolt
