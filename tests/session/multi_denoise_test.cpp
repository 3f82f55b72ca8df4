#include "session/multi_denoise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/alloc_hooks.h"
#include "session/debug_observer.h"
#include "support/log_lines.h"
#include "support/stage_doubles.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;
using test::TestHooks;

/// One last frame of a burst with what the driver gets, and stages that write down how they were called.
struct Driver {
  explicit Driver(int w, int h)
      : reference(w, h, 50, 60),
        aligned(w, h, 150, 160),
        output(w, h, 99, 98),
        map(static_cast<size_t>(w * h)) {
    TestHooks::Reset();
    const MfAllocHooks hooks = TestHooks::Hooks();
    ChooseHooks(&hooks);
    test::TakeLogLines();
    weights.assign(static_cast<size_t>(w * h), 25);
    frame.context.images = {{reference.image(), aligned.image()}, 2};
    frame.context.ghost = {map.data(), &ghost_count};
    NrParameters& nr = frame.context.nr;
    nr.blendWeight = 128;
    nr.weightMap = weights.data();
    nr.frameTotal = 5;
    nr.iirImgNum = &folded;
    nr.chromaS = -90;
    nr.chromaDetail = 77;
    nr.lastFrame = 1;
    frame.context.fusionScratch = room;
    frame.context.fusionScratchSize = 10;
    frame.fusion_room = room + 4;
    frame.fusion_room_size = 6;
    stages.temporal = [this](const NrStageContext&, const YuvImage&) { return Called("temporal"); };
    stages.spatial_low = [this](const NrStageContext& context, const YuvImage& image) {
      return Spatial("low", context, image);
    };
    stages.spatial_high = [this](const NrStageContext& context, const YuvImage& image) {
      return Spatial("high", context, image);
    };
    stages.fusion = [this](const YuvImage& image, const YuvImage& other, const FusionPara& fusion) {
      fused_image = image;
      fused_aligned = other;
      fused = fusion;
      return Called("fusion");
    };
  }
  ~Driver() {
    TestHooks::FreeAll();
    ChooseHooks(nullptr);
  }

  int32_t Called(const std::string& name) {
    calls += name + " ";
    return name == failing ? code : 0;
  }
  int32_t Spatial(const std::string& name, const NrStageContext& context, const YuvImage& image) {
    filtered = image;
    seen = context.nr;
    if (change) change(image);
    return Called(name);
  }
  int32_t Run() {
    FrameWatch watch;
    return MultiDeNoise(&frame, output.image(), &watch);
  }

  test::Frame reference, aligned, output;
  Bytes map, weights;
  uint32_t ghost_count = 0;
  int32_t folded = 4;
  uint8_t room[10] = {};
  DenoiseFrame frame = {};
  test::StageDoubles stages;
  std::string calls, failing;
  int32_t code = 0;
  std::function<void(const YuvImage&)> change;
  YuvImage filtered = {}, fused_image = {}, fused_aligned = {};
  NrParameters seen = {};
  FusionPara fused = {};
};

TEST(MultiDeNoise, AThirdOfGhostsSkipsTheFold) {
  for (const bool first : {false, true}) {
    for (const uint32_t count : {200u * 256 / 3 - 1, 200u * 256 / 3, 0xFFFFFFFFu}) {
      Driver driver(200, 256);
      driver.ghost_count = count;
      driver.frame.context.nr.firstFrame = first ? 1 : 0;
      const Bytes before = driver.output.bytes;
      ASSERT_EQ(driver.Run(), 0);
      const bool skipped = count >= 200u * 256 / 3;
      EXPECT_EQ(driver.calls, skipped ? "" : "temporal ");
      // Skipped at first, the result starts as the reference; later it stays.
      EXPECT_EQ(driver.output.bytes, skipped && first ? driver.reference.bytes : before);
    }
  }
}

TEST(MultiDeNoise, ChoosesTheFilterByFoldsAndFusion) {
  struct Case {
    int32_t folded, eis;
    const char* calls;
    int32_t chroma_s;
  };
  const Case cases[] = {{3, 0, "temporal high ", -90 + 2 * 10},
                        {3, 1, "high ", -90 + 2 * 10},
                        {4, 0, "temporal low ", -90},
                        {4, 1, "fusion ", 0}};
  for (const int size : {256, 264}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(testing::Message() << size << " folded " << c.folded << " eis " << c.eis);
      Driver driver(size, size);
      driver.folded = c.folded;
      driver.frame.context.eisMode = c.eis;
      ASSERT_EQ(driver.Run(), 0);
      EXPECT_EQ(driver.calls, c.calls);
      EXPECT_EQ(driver.seen.chromaS, c.chroma_s);
      EXPECT_EQ(TestHooks::Outstanding(), 0);
    }
  }
  for (const auto& [w, h, last] : {std::tuple{256, 256, 0}, {248, 4000, 1}, {4000, 248, 1}}) {
    Driver driver(w, h);
    driver.frame.context.nr.lastFrame = last;
    ASSERT_EQ(driver.Run(), 0);
    EXPECT_EQ(driver.calls, "temporal ");
    EXPECT_TRUE(TestHooks::Calls().empty());
  }
}

TEST(MultiDeNoise, FusionGetsItsRecordAndHandsBackWithStrongerChroma) {
  for (const int size : {256, 264}) {
    SCOPED_TRACE(size);
    const bool padded = size != 256;
    Driver driver(size, size);
    TestHooks::StartBlocksAt(1);  // bytes need no second call
    driver.frame.context.eisMode = 7;
    driver.failing = "fusion";
    driver.code = 3;
    ASSERT_EQ(driver.Run(), 0);
    EXPECT_EQ(driver.calls, "fusion low ");
    EXPECT_EQ(driver.seen.chromaS, -80);
    EXPECT_EQ(driver.fused.frameTotal, 5);
    EXPECT_EQ(driver.fused.iirImgNum, &driver.folded);
    EXPECT_EQ(driver.fused.chromaDetail, 77);
    EXPECT_EQ(driver.frame.fusion.chromaDetail, 77) << "the record that was given";
    // In place the fusion must leave the aligned frame alone; from a padded copy of it, it need not.
    EXPECT_EQ(driver.fused.scratch, padded ? driver.room : driver.room + 4);
    EXPECT_EQ(driver.fused.scratchSize, padded ? 10u : 6u);
    EXPECT_EQ(driver.fused_aligned.width, (size + 15) / 16 * 16);
    EXPECT_EQ(driver.fused.weightMap == driver.weights.data(), !padded);
    EXPECT_EQ(driver.fused_image.y == driver.output.bytes.data(), !padded);
    EXPECT_EQ(TestHooks::Outstanding(), 0);
  }
}

TEST(MultiDeNoise, FailuresOfStages) {
  struct Case {
    int size;
    int32_t folded, eis;
    const char* failing;
    const char* line;  ///< null: none
    int outstanding;   ///< blocks that are not given back
    bool repaired;
  };
  const Case cases[] = {
      {256, 4, 0, "temporal", "TemporalNrMaincall return -9.", 0, false},
      {256, 3, 0, "high", "SpatialNrHighLevelMainCall return -9.", 1, false},
      {256, 4, 0, "low", "SpatialNrLowLevelMainCall return -9.", 1, false},
      {256, 4, 1, "fusion", "SpatialNrLowLevelMainCall return -9.", 1, false},
      {264, 3, 0, "high", "SpatialNrHighLevelMainCall return -9.", 0, false},
      {264, 4, 0, "low", nullptr, 0, true},
      {264, 4, 1, "fusion", nullptr, 0, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.size << " " << c.failing);
    Driver driver(c.size, c.size);
    std::fill_n(driver.output.bytes.begin(), c.size * c.size, uint8_t{255});
    driver.folded = c.folded;
    driver.frame.context.eisMode = c.eis;
    driver.failing = c.failing;
    driver.code = -9;
    driver.change = [](const YuvImage& image) { image.u[0] = 1; };
    EXPECT_EQ(driver.Run(), -9);
    const auto lines = test::TakeLogLines();
    EXPECT_EQ(lines.size(), c.line != nullptr ? 1u : 0u);
    if (c.line != nullptr) {
      EXPECT_TRUE(test::Contains(lines, 6, c.line));
    }
    EXPECT_EQ(TestHooks::Outstanding(), c.outstanding);
    if (c.repaired) {
      EXPECT_EQ(driver.output.image().u[0], 98);
    }
  }
}

TEST(MultiDeNoise, RefusedMemory) {
  for (int k = 0; k < 3; ++k) {
    SCOPED_TRACE(k);
    Driver driver(264, 272);
    driver.frame.context.eisMode = 1;
    TestHooks::RefuseAllocation(k);
    // Without the snapshot only the repair falls away; both padded copies are needed.
    EXPECT_EQ(driver.Run(), k == 0 ? 0 : -1000);
    EXPECT_EQ(driver.calls, k == 0 ? "fusion " : "");
    EXPECT_EQ(test::Contains(test::TakeLogLines(), 6, "Memery Allocating Error!"), k > 0);
    EXPECT_EQ(TestHooks::Outstanding(), 0);
  }
}

TEST(MultiDeNoise, LiftsDarkScenesByGainsInBytes) {
  struct Case {
    int32_t max_gain, chroma_gain;
    uint8_t level;
    int gain, chroma;  ///< what reaches the image, of 16
  };
  const Case cases[] = {
      {32, 16, 100, 32, 32},   // capped by the tuning
      {255, 16, 254, 16, 16},  // capped by white
      {255, 16, 255, 15, 15},  //
      {255, 16, 14, 16, 16},   // 272 as a byte
      {-1, 0, 100, 40, 16},    // -1 as a byte is 255: white caps it
      {64, 8, 50, 64, 32},     // a square root
      {0, -16, 50, 0, 255},    // a gain of infinity
      {1000, 16, 50, 80, 80},  //
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.max_gain << " " << c.chroma_gain << " " << int{c.level});
    Driver driver(256, 256);
    NrParameters& nr = driver.frame.context.nr;
    nr.LumaEnhancementFlag = 1;
    nr.maxGain = c.max_gain;
    nr.chromaGain = c.chroma_gain;
    nr.lumaLevel = c.level;
    nr.lumaTH = 2569;
    nr.peakTH = 10;
    driver.output = test::Frame(256, 256, 10, 130);
    ASSERT_EQ(driver.Run(), 0);
    EXPECT_EQ(driver.output.bytes[0], std::min(255, (10 * c.gain + 8) >> 4));
    EXPECT_EQ(driver.output.bytes.back(), std::min(255, ((2 * c.chroma + 8) >> 4) + 128));
    // Each gate alone stops it.
    for (int gate = 0; gate < 3; ++gate) {
      driver.output = test::Frame(256, 256, 10, 130);
      nr.LumaEnhancementFlag = gate == 0 ? 0 : 1;
      nr.lumaTH = gate == 1 ? c.level * 10 + 9 : 2569;
      nr.peakTH = gate == 2 ? 9 : 10;
      ASSERT_EQ(driver.Run(), 0);
      EXPECT_EQ(driver.output.bytes[0], 10) << gate;
    }
  }
}

}  // namespace
}  // namespace zolt
