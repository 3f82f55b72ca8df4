#include "session/frame_pipeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "session/debug_observer.h"
#include "session/mf_session.h"
#include "support/log_lines.h"
#include "support/session_driver.h"
#include "support/stage_doubles.h"
#include "support/test_hooks.h"

namespace zolt {
namespace {

using test::FlatFrame;
using test::SessionDriver;
using test::TestHooks;
using Bytes = std::vector<uint8_t>;

TEST(CornerMotion, IsAMeanOfRoundedSquares) {
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  EXPECT_EQ(CornerMotion(identity, 4000, 3000), 0);
  const float shift[9] = {1, 0, 3, 0, 1, -4, 0, 0, 1};
  EXPECT_EQ(CornerMotion(shift, 640, 480), 25);
  const float half[9] = {1, 0, 0.75f, 0, 1, 0, 0, 0, 1};  // 0.5625 rounds to 1 at each corner
  EXPECT_EQ(CornerMotion(half, 640, 480), 1);
  // Twice as wide: corners (0, 0) and (0, H) stay, the others go by W = 100: (10000 + 10000) / 4.
  const float stretch[9] = {2, 0, 0, 0, 1, 0, 0, 0, 1};
  EXPECT_EQ(CornerMotion(stretch, 101, 51), 5000);
  // Perspective, by hand: D1 = D3 = 1 / 2, D2 = 1; only x of the right corners is halved with its y.
  const float tilt[9] = {1, 0, 0, 0, 1, 0, 0.01f, 0, 1};
  EXPECT_EQ(CornerMotion(tilt, 101, 41), (2500 + 2500 + 400) >> 2);
  // What overflows saturates per corner and wraps in the sum; a corner at infinity is no undefined behaviour.
  const float far[9] = {1, 0, 1e20f, 0, 1, 0, 0, 0, 1};
  EXPECT_EQ(CornerMotion(far, 64, 64), -1);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float broken[9] = {nan, nan, nan, nan, nan, nan, nan, nan, 1};
  EXPECT_EQ(CornerMotion(broken, 64, 64), 0);
}

class Pipeline : public testing::Test {
 protected:
  Pipeline() {
    TestHooks::Reset();
    stages.FoldOnly();
  }
  ~Pipeline() override { TestHooks::FreeAll(); }
  test::StageDoubles stages;
};

// Every key has a value of its own, and each record that a stage gets holds those of its own keys.
TEST_F(Pipeline, EachTunedValueArrivesInItsOwnField) {
  GhostThresholds ghost = {};
  NrParameters nr = {};
  FusionPara fused = {};
  int32_t eis = 0, boost = 0, restore = 0, detail_min = 0;
  struct Arrival {
    std::string section, keys;
    std::vector<const int32_t*> fields;  ///< one for each key
  };
  const std::string ghost_keys =
      "lumaTH_Low lumaTH_High lumaNoiseTH chromaTH_Low chromaTH_High chromaNoiseTH";
  const GhostThresholds& g = ghost;
  const int32_t* const d = fused.deghost;
  const Arrival arrivals[] = {
      {"NoiseReduction/ISO2/",
       "lumaMed lumaLF lumaHF1 lumaHF2",
       {&nr.lumaMed, &nr.lumaLF, &nr.lumaHF1, &nr.lumaHF2}},
      {"NoiseReduction/ISO2/", "lumaHF3 chromaS detail", {&nr.lumaHF3, &nr.chromaS, &nr.detail}},
      {"NoiseReduction/ISO2/", "lumaLF chromaS detail", {&fused.lumaLF, &fused.chromaS, &fused.detail}},
      {"GhostDetection/ISO2/",
       ghost_keys,
       {&g.lumaTH_Low, &g.lumaTH_High, &g.lumaNoiseTH, &g.chromaTH_Low, &g.chromaTH_High, &g.chromaNoiseTH}},
      {"GhostDetection/ISO2/", ghost_keys, {d, d + 1, d + 2, d + 3, d + 4, d + 5}},
      {"ExposureFusion/ISO2/",
       "fusion_low fusion_high SaturationGain",
       {&fused.fusion_low, &fused.fusion_high, &fused.SaturationGain}},
      {"ExposureFusion/ISO2/", "detailRestore boostDetail", {&restore, &boost}},
      {"ExposureFusion/",
       "detailMin ChromaFusionFlag HDRFusionFlag",
       {&detail_min, &fused.ChromaFusionFlag, &fused.HDRFusionFlag}},
      {"ExposureFusion/Stable/", "isoTH maxShift lumaTH", {&fused.isoTH, &fused.maxShift, &fused.lumaTH}},
      {"ChromaEnhancement/", "enhancementLevel chromaDetail", {&nr.enhancementLevel, &nr.chromaDetail}},
      {"ChromaEnhancement/", "chromaDetail", {&fused.chromaDetail}},
      {"LumaEnhancement/",
       "maxGain chromaGain lumaTH peakTH",
       {&nr.maxGain, &nr.chromaGain, &nr.lumaTH, &nr.peakTH}},
      {"Global/", "LumaEnhancementFlag ExposureFusionFlag", {&nr.LumaEnhancementFlag, &eis}}};
  std::map<std::string, int32_t> values = {{"ExposureFusion/ISO2/boostDetail", 9},
                                           {"ExposureFusion/detailMin", 8},
                                           {"GhostDetection/ISO2/chromaTH_Low", -1}};
  std::map<std::string, std::string> keys = {{"ExposureFusion/Stable/ghostTH", "0.25"},
                                             {"NoiseReduction/ISO2/chromaNrLUT", "71 72 73"}};
  std::vector<std::pair<std::string, const int32_t*>> expected;
  for (const Arrival& arrival : arrivals) {
    std::istringstream names(arrival.keys);
    for (const int32_t* field : arrival.fields) {
      std::string name;
      names >> name;
      const std::string path = arrival.section + name;
      const int32_t value = values.emplace(path, 101 + values.size()).first->second;
      // Thresholds are in sixteenths and rounded down.
      keys[path] = std::to_string(arrival.keys == ghost_keys ? 16 * value + 15 : value);
      expected.emplace_back(path, field);
    }
  }
  SessionDriver driver(256, 256, ZOLT_MF_FORMAT_I420, keys);
  driver.iso = 123;
  stages.registration = [](RegistrationInput*, MotionModel* model, uint8_t*, uint64_t) {
    model->peakLevel = 250;
    model->lumaLevel = 251;
    return 3;
  };
  stages.ghost = [&](GhostStageInput* input, const GhostMask& mask) {
    ghost = input->thresholds;
    return static_cast<int32_t>(*mask.count = 0);
  };
  stages.temporal = [&](const NrStageContext& context, const YuvImage&) {
    nr = context.nr;
    eis = context.eisMode;
    ++*nr.iirImgNum;
    return 0;
  };
  stages.fusion = [&](const YuvImage&, const YuvImage&, const FusionPara& fusion) {
    fused = fusion;
    return 0;
  };
  const Bytes frame = FlatFrame(256, 256, 2, 10, 20, 30);
  for (int k = 0; k < 5; ++k) ASSERT_EQ(driver.Frame(frame, k == 0 ? 0 : k == 4 ? 2 : 1, 5), 0);
  boost = fused.boostDetail;
  restore = fused.detailRestore;
  detail_min = fused.detailMin;
  for (const auto& [path, field] : expected) EXPECT_EQ(*field, values[path]) << path;
  EXPECT_EQ(fused.ghostTH, 0.25f);
  EXPECT_EQ(nr.chromaNrLUT[2], 73);
  EXPECT_EQ(fused.chromaNrTable, nr.chromaNrLUT);
  EXPECT_EQ(fused.bandLevels, 3);
  EXPECT_EQ(fused.iso, 123);
  EXPECT_EQ(nr.iso, 123);
  EXPECT_EQ(nr.peakLevel, 250);
  EXPECT_EQ(nr.lumaLevel, 251);
}

TEST_F(Pipeline, EachFrameCountHasItsShare) {
  int blend = 0, total = 0;
  stages.temporal = [&](const NrStageContext& context, const YuvImage&) {
    blend = context.nr.blendWeight;
    total = context.nr.frameTotal;
    return 0;
  };
  SessionDriver driver(64, 64);
  const Bytes frame = FlatFrame(64, 64, 2, 10, 20, 30);
  const int shares[] = {128, 156, 172, 182, 192, 197, 202, 207, 210};
  for (int frames = 2; frames <= 10; ++frames) {
    for (const int tag : {0, 1}) ASSERT_EQ(driver.Frame(frame, tag, frames), 0);
    EXPECT_EQ(blend, shares[frames - 2]);
    EXPECT_EQ(total, frames);
  }
}

TEST_F(Pipeline, RegistrationGetsItsRecord) {
  SessionDriver driver(408, 408, ZOLT_MF_FORMAT_NV12);
  driver.iso = 777;
  MemoryPlan plan;
  ASSERT_TRUE(MakeMemoryPlan(408, 408, false, false, &plan));
  int frames = 0;
  stages.registration = [&](RegistrationInput* request, MotionModel* model, uint8_t* arena,
                            uint64_t arena_size) {
    EXPECT_EQ(request->isFirstFrame, frames == 0 ? 1 : 0);
    EXPECT_EQ(request->flagB, 0);
    EXPECT_EQ(request->flagC, 1);
    EXPECT_EQ(request->doWarp, 1);
    EXPECT_EQ(request->flagE, 0);
    EXPECT_EQ(request->iso, 777);
    EXPECT_EQ(request->planeCount, 2);
    EXPECT_EQ(request->workMemSize, plan[kScratch].size);
    EXPECT_EQ(request->alloc, TestHooks::Hooks().alloc);
    EXPECT_EQ(arena_size, plan[kRegistrationData].size);
    EXPECT_EQ(arena, model->aligned.v + 408 * 408 / 4);
    EXPECT_EQ(request->workMem, arena + (plan[kScratch].offset - plan[kRegistrationData].offset));
    // The reference is the stored first frame, then the running result.
    EXPECT_EQ(request->reference.y == driver.result.data(), frames > 0);
    EXPECT_EQ(request->input.u[0], 40);
    EXPECT_EQ(request->input.v[0], 50);
    // All of the room may be used.
    std::fill_n(arena, arena_size, uint8_t{1});
    std::fill_n(request->workMem, request->workMemSize, uint8_t{2});
    ++frames;
    return 3;
  };
  const Bytes frame = FlatFrame(408, 408, driver.format, 30, 40, 50);
  for (int tag = 0; tag < 3; ++tag) ASSERT_EQ(driver.Frame(frame, tag, 3), 0);
  EXPECT_EQ(frames, 2);
  EXPECT_EQ(driver.result, frame);
}

TEST_F(Pipeline, GhostsAreSoughtInTheAlignedFrame) {
  for (const int32_t registration : {0, 3}) {
    SessionDriver driver(64, 64);
    stages.registration = [&](RegistrationInput*, MotionModel* model, uint8_t*, uint64_t) {
      std::fill_n(model->aligned.y, 64 * 64 * 3 / 2, uint8_t{123});
      return registration;
    };
    int calls = 0;
    stages.ghost = [&](GhostStageInput* input, const GhostMask& mask) {
      ++calls;
      EXPECT_EQ(input->images.count, 2);
      EXPECT_EQ(input->images.images[1].y[0], registration == 0 ? 123 : 40);
      EXPECT_EQ(input->firstImages.images[0].y[0], 10);
      EXPECT_EQ(input->enabled, 1);
      std::fill_n(input->scratch, input->scratchSize, uint8_t{3});
      std::fill_n(mask.map, 64 * 64, uint8_t{255});
      *mask.count = 0;
      return 0;
    };
    ASSERT_EQ(driver.Frame(FlatFrame(64, 64, 2, 10, 20, 30), 0, 3), 0);
    ASSERT_EQ(driver.Frame(FlatFrame(64, 64, 2, 40, 50, 60), 1, 3), 0);
    EXPECT_EQ(calls, 1);
    // All ghost: a 256th of the aligned frame in the first step, and the fold's rounding.
    const int t = ((registration == 0 ? 123 : 40) + 255 * 10 + 128) >> 8;
    EXPECT_EQ(driver.result[0], (156 * 10 + 100 * t + 128) >> 8);
  }
}

TEST_F(Pipeline, AFailingStageIsLoggedAndLosesTheBurst) {
  for (int stage = 1; stage < 3; ++stage) {
    SessionDriver driver(64, 64);
    stages.FoldOnly();
    stages.temporal = nullptr;
    if (stage == 1) stages.ghost = [](GhostStageInput*, const GhostMask&) { return 1; };
    if (stage == 2) stages.temporal = [](const NrStageContext&, const YuvImage&) { return -8; };
    const int32_t code = stage == 1 ? 1 : -8;
    const Bytes first = FlatFrame(64, 64, 2, 10, 20, 30);
    ASSERT_EQ(driver.Frame(first, 0, 3), 0);
    test::TakeLogLines();
    EXPECT_EQ(driver.Frame(FlatFrame(64, 64, 2, 40, 50, 60), 1, 3), code);
    const auto lines = test::TakeLogLines();
    EXPECT_TRUE(
        test::Contains(lines, 6, stage == 1 ? "GhostDetection return 1." : "MultiDeNoise return -8."));
    EXPECT_TRUE(test::Contains(lines, 6, "TwoFramesDeNoise return " + std::to_string(code) + "."));
    EXPECT_EQ(driver.session->IIRImgNum, 1);
    EXPECT_EQ(driver.result, first);
  }
}

TEST_F(Pipeline, FusionKnowsTheWholeBurst) {
  SessionDriver driver(256, 256, ZOLT_MF_FORMAT_NV21, {{"Global/ExposureFusionFlag", "1"}});
  float shift = 0;
  bool register_frames = true;
  stages.registration = [&](RegistrationInput*, MotionModel* model, uint8_t*, uint64_t) {
    const float h[9] = {1, 0, shift, 0, 1, 0, 0, 0, 1};
    std::copy_n(h, 9, model->homography);
    std::fill_n(model->aligned.y, 256 * 256 * 3 / 2, uint8_t{50});
    return register_frames ? 0 : 3;
  };
  int ghost_calls = 0;
  stages.ghost = [&](GhostStageInput*, const GhostMask& mask) {
    ++ghost_calls;
    std::fill_n(mask.map, 256 * 256, uint8_t{0});
    *mask.count = 1000;
    return 0;
  };
  FusionPara seen = {};
  int fusions = 0;
  stages.fusion = [&](const YuvImage&, const YuvImage& aligned, const FusionPara& fusion) {
    ++fusions;
    seen = fusion;
    EXPECT_EQ(fusion.input->y[0], 40);
    EXPECT_EQ(fusion.input->u[0], 50);
    // The room may be written from end to end while the aligned frame lives.
    std::fill_n(fusion.scratch, fusion.scratchSize, uint8_t{9});
    EXPECT_EQ(std::count(aligned.y, aligned.y + 256 * 256 * 3 / 2, 50), 256 * 256 * 3 / 2);
    return 0;
  };
  for (const bool registered : {true, false}) {
    register_frames = true;
    ASSERT_EQ(driver.Frame(FlatFrame(256, 256, 0, 10, 20, 30), 0, 5), 0);
    for (int frame = 1; frame < 4; ++frame) {
      shift = static_cast<float>(frame == 2 ? 9 : frame);
      ASSERT_EQ(driver.Frame(FlatFrame(256, 256, 0, 10, 20, 30), 1, 5), 0);
    }
    shift = 100;  // the last frame's motion does not count
    register_frames = registered;
    if (!registered) {
      stages.fusion = [&](const YuvImage&, const YuvImage& aligned, const FusionPara& fusion) {
        ++fusions;
        seen = fusion;
        EXPECT_EQ(aligned.y, fusion.input->y);
        std::fill_n(fusion.scratch, fusion.scratchSize, uint8_t{9});
        EXPECT_EQ(aligned.u[0], 50);
        return 0;
      };
    }
    ASSERT_EQ(driver.Frame(FlatFrame(256, 256, 0, 40, 50, 60), 2, 5), 0);
    EXPECT_EQ(seen.ghostTotal, 3000);
    EXPECT_EQ(seen.motionMax, 81);
    EXPECT_EQ(seen.registered, registered ? 1 : 0);
    EXPECT_EQ(seen.frameTotal, 5);
  }
  EXPECT_EQ(ghost_calls, 6);
  EXPECT_EQ(fusions, 2);
}

TEST_F(Pipeline, AnObserverSeesEachLaterFrameTwice) {
  std::vector<FrameObservation> seen;
  SetFrameObserver(
      [](void* user, const FrameObservation& observation) {
        static_cast<std::vector<FrameObservation>*>(user)->push_back(observation);
        if (observation.moment == FrameObservation::Moment::kMerged) {
          EXPECT_EQ(observation.aligned.y[0], 40);
          EXPECT_EQ(observation.weight_map[64 * 64 - 1], observation.last ? 50 : 25);
          EXPECT_EQ(observation.ghost_map[0], 0);
        }
      },
      &seen);
  SessionDriver driver(64, 64);
  ASSERT_EQ(driver.Frame(FlatFrame(64, 64, 2, 10, 20, 30), 0, 3), 0);
  ASSERT_EQ(driver.Frame(FlatFrame(64, 64, 2, 40, 50, 60), 1, 3), 0);
  ASSERT_EQ(driver.Frame(FlatFrame(64, 64, 2, 40, 50, 60), 2, 3), 0);
  SetFrameObserver(nullptr, nullptr);
  ASSERT_EQ(seen.size(), 4u);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(seen[i].moment == FrameObservation::Moment::kDone, i % 2 == 1);
    EXPECT_EQ(seen[i].last, i >= 2);
    EXPECT_EQ(seen[i].registration_result, 3);
  }
  EXPECT_GT(seen[0].temporal_us, 0);  // it starts four threads
  EXPECT_EQ(seen[1].ghost_map, nullptr);
}

}  // namespace
}  // namespace zolt
