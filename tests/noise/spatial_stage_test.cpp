#include "noise/spatial_stage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <utility>
#include <vector>

#include "base/alloc_hooks.h"
#include "kernels/threshold_dilate.h"
#include "noise/spatial_scratch.h"
#include "noise/spatial_settings.h"
#include "support/log_lines.h"
#include "support/slow_spatial.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

using test::Frame;

const std::vector<SpatialLevel> kLevels = {SpatialLevel::kLow, SpatialLevel::kHigh};

// A frame, its frame counts, a tuning and a scratch block of exactly what the stage needs.
struct Burst {
  Burst(int w, int h, double noise = 6.0) : frame(test::TexturedFrame(w, h)) {
    test::AddNoise(&frame, noise, 3);
    weights = test::RandomPlane<uint8_t>(int64_t{w} * h, 5);
    for (uint8_t& weight : weights) weight = static_cast<uint8_t>(25 * weight);
    const bool runs = w >= 256 && h >= 256 && w % 16 == 0 && h % 16 == 0;
    scratch.assign(runs ? static_cast<size_t>(SpatialScratchBytes(w, h)) : 4, 0xA5);
    NrParameters& nr = context.nr;
    nr.frameTotal = 5;
    nr.lumaLF = -80;
    nr.lumaHF1 = nr.lumaHF2 = nr.lumaHF3 = -60;
    nr.chromaS = -50;
    nr.detail = -60;
    nr.chromaNrLUT = thresholds.data();
    nr.stageSwitchA = nr.stageSwitchB = 1;
    nr.peakLevel = 120;
    nr.enhancementLevel = 3;
    nr.chromaDetail = 128;
  }

  int32_t Run(SpatialLevel level) {
    context.nr.weightMap = weights.data();
    context.fusionScratch = scratch.data() + scratch_start;
    context.fusionScratchSize = scratch.size() - scratch_start;
    return level == SpatialLevel::kLow ? SpatialNrLowLevelMainCall(context, frame.image())
                                       : SpatialNrHighLevelMainCall(context, frame.image());
  }

  Frame frame;
  std::vector<uint8_t> weights;
  std::vector<uint8_t> scratch;
  size_t scratch_start = 0;
  std::vector<int32_t> thresholds = std::vector<int32_t>(40, 60);
  NrStageContext context = {};
};

// Rows of the luma (or of a chroma plane) in which two frames differ.
std::vector<int> RowsThatDiffer(const Frame& a, const Frame& b, int plane) {
  const int w = plane == 0 ? a.width : a.width / 2, h = plane == 0 ? a.height : a.height / 2;
  const int64_t luma = int64_t{a.width} * a.height;
  const int64_t start = plane == 0 ? 0 : luma + (plane - 1) * luma / 4;
  std::vector<int> rows;
  for (int r = 0; r < h; ++r) {
    const auto at = a.bytes.begin() + start + int64_t{r} * w;
    if (!std::equal(at, at + w, b.bytes.begin() + start + int64_t{r} * w)) rows.push_back(r);
  }
  return rows;
}

TEST(SpatialStage, SmallFramesStayAsTheyAre) {
  for (const auto& [w, h] : {std::pair{240, 1024}, {1024, 240}}) {
    for (const SpatialLevel level : kLevels) {
      Burst burst(w, h);
      const std::vector<uint8_t> before = burst.frame.bytes;
      EXPECT_EQ(burst.Run(level), 0);
      EXPECT_EQ(burst.frame.bytes, before);
    }
  }
}

TEST(SpatialStage, SwitchesKeepLumaOrChroma) {
  const int w = 320, h = 272;
  for (const SpatialLevel level : kLevels) {
    Burst all(w, h), no_luma(w, h), no_chroma(w, h);
    const Frame before = all.frame;
    no_luma.context.nr.stageSwitchA = 0;
    no_chroma.context.nr.stageSwitchB = 0;
    for (Burst* burst : {&all, &no_luma, &no_chroma}) ASSERT_EQ(burst->Run(level), 0);
    EXPECT_TRUE(RowsThatDiffer(no_luma.frame, before, 0).empty());
    EXPECT_TRUE(RowsThatDiffer(no_chroma.frame, all.frame, 0).empty());
    EXPECT_FALSE(RowsThatDiffer(all.frame, before, 0).empty());
    for (const int plane : {1, 2}) {
      EXPECT_TRUE(RowsThatDiffer(no_luma.frame, all.frame, plane).empty());
      EXPECT_TRUE(RowsThatDiffer(no_chroma.frame, before, plane).empty());
      EXPECT_FALSE(RowsThatDiffer(all.frame, before, plane).empty());
    }
  }
}

// Odd corners of the tuning over sizes whose bands end in partial blocks, and over images that no camera
// takes.
TEST(SpatialStage, EqualsTheSlowStage) {
  struct Case {
    int w, h, total, median, luma_lf, luma_hf, chroma_s, detail, peak, boost, chroma_detail, threshold;
    bool noise;  ///< instead of a scene
  };
  const std::vector<Case> cases = {{256, 256, 2, 0, -80, -60, -50, -60, 65, 3, 128, 60, false},
                                   {256, 272, 5, 1, -100, -128, -62, -128, 64, 9, 255, 0, true},
                                   {272, 272, 4, 1, 0, 0, -63, -101, 201, 1, 0, 400, false},
                                   {304, 288, 10, 0, 310, -20, -39, 0, 200, 9, 77, 5000, true},
                                   {400, 640, 8, 1, -40, -90, 170, -79, 120, 6, 300, 90000, false},
                                   {336, 1040, 3, 0, 411, 5, -10, -78, 30, 10, -1, -7, true}};
  for (const Case& c : cases) {
    for (const SpatialLevel level : kLevels) {
      const bool low = level == SpatialLevel::kLow;
      SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << (low ? " low" : " high"));
      Burst burst(c.w, c.h);
      burst.scratch_start = c.noise ? 1 : 0;  // an odd address
      burst.scratch.resize(burst.scratch.size() + 4 * burst.scratch_start);
      if (c.noise) burst.frame.bytes = test::RandomPlane<uint8_t>(int64_t{c.w} * c.h * 3 / 2);
      NrParameters& nr = burst.context.nr;
      nr.frameTotal = static_cast<uint8_t>(c.total);
      nr.lumaMed = c.median;
      nr.lumaLF = c.luma_lf;
      nr.lumaHF1 = nr.lumaHF3 = c.luma_hf;
      nr.lumaHF2 = c.luma_hf - 10;
      nr.chromaS = c.chroma_s;
      nr.detail = c.detail;
      nr.peakLevel = static_cast<uint8_t>(c.peak);
      nr.enhancementLevel = c.boost;
      nr.chromaDetail = c.chroma_detail;
      for (int i = 0; i < 40; ++i) burst.thresholds[static_cast<size_t>(i)] = c.threshold * (i % 7) / 3;
      test::Frame expected = burst.frame;
      nr.weightMap = burst.weights.data();
      test::SlowSpatialStage(nr, low, expected.image());
      ASSERT_EQ(burst.Run(level), 0);
      for (int plane = 0; plane < 3; ++plane) {
        EXPECT_EQ(RowsThatDiffer(burst.frame, expected, plane), std::vector<int>()) << plane;
      }
    }
  }
}

TEST(SpatialStage, RoomThatIsTooSmallIsTakenThroughTheHooks) {
  test::TestHooks::Reset();
  const MfAllocHooks hooks = test::TestHooks::Hooks();
  ChooseHooks(&hooks);
  Burst roomy(272, 304), tight(272, 304);
  tight.scratch.resize(64);
  ASSERT_EQ(roomy.Run(SpatialLevel::kHigh), 0);
  EXPECT_TRUE(test::TestHooks::Calls().empty());
  ASSERT_EQ(tight.Run(SpatialLevel::kHigh), 0);
  EXPECT_EQ(tight.frame.bytes, roomy.frame.bytes);
  ASSERT_EQ(test::TestHooks::Calls().size(), 2u);
  EXPECT_EQ(test::TestHooks::Calls()[0].pool, "mfdenoise");
  EXPECT_EQ(test::TestHooks::Outstanding(), 0);

  test::TestHooks::RefuseAllocation(0);
  const std::vector<uint8_t> before = tight.frame.bytes;
  EXPECT_EQ(tight.Run(SpatialLevel::kLow), -1000);
  EXPECT_EQ(tight.frame.bytes, before);
  ChooseHooks(nullptr);
}

TEST(SpatialStage, ThreadsThatCantStartLeaveTheImage) {
  for (const SpatialLevel level : kLevels) {
    for (int k = 0; k < 4; ++k) {
      for (const bool all_after : {false, true}) {
        Burst burst(272, 272);
        const std::vector<uint8_t> before = burst.frame.bytes;
        test::TakeLogLines();
        const test::ThreadFailure failure(k, all_after);
        EXPECT_EQ(burst.Run(level), -997);
        EXPECT_EQ(burst.frame.bytes, before);
        EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "Thread Create Error!"));
      }
    }
  }
}

// Bit planes refused to the stripes whose bit is set, in the order in which they ask.
std::atomic<int> asked{0};
std::atomic<int> refused_set{0};
void* RefusingMalloc(size_t size) {
  return (refused_set >> asked++) & 1 ? nullptr : std::malloc(size);
}

TEST(SpatialStage, AStripeWithoutItsMaskStaysAsItWasAndTheOthersGoOn) {
  const int w = 256, h = 320, quarter = h / 4;
  for (const SpatialLevel level : kLevels) {
    Burst good(w, h);
    const Frame before = good.frame;
    ASSERT_EQ(good.Run(level), 0);
    for (int set = 1; set < 16; ++set) {
      Burst burst(w, h);
      asked = 0;
      refused_set = set;
      bit_mask_malloc = RefusingMalloc;
      EXPECT_EQ(burst.Run(level), 1);
      bit_mask_malloc = std::malloc;
      EXPECT_EQ(asked, 4);
      int untouched = 0;
      const std::vector<int> rows = RowsThatDiffer(burst.frame, before, 0);
      const std::vector<int> wrong = RowsThatDiffer(burst.frame, good.frame, 0);
      for (int stripe = 0; stripe < 4; ++stripe) {
        const auto inside = [&](int r) { return r / quarter == stripe; };
        if (std::none_of(rows.begin(), rows.end(), inside)) {
          ++untouched;
        } else {
          EXPECT_TRUE(std::none_of(wrong.begin(), wrong.end(), inside)) << set << " " << stripe;
        }
      }
      EXPECT_EQ(untouched, __builtin_popcount(static_cast<unsigned>(set)));
    }
  }
}

TEST(SpatialStage, EveryTuningValueIsSafe) {
  for (const SpatialLevel level : kLevels) {
    for (const int32_t value : {INT32_MIN, -1000, -129, -100, 0, 1, 127, 411, 100000, INT32_MAX}) {
      Burst burst(256, 272, 40.0);
      NrParameters& nr = burst.context.nr;
      nr.lumaMed = nr.lumaLF = nr.lumaHF1 = nr.lumaHF2 = nr.lumaHF3 = nr.chromaS = nr.detail = value;
      nr.enhancementLevel = nr.chromaDetail = value;
      nr.frameTotal = static_cast<uint8_t>(value);
      burst.thresholds.assign(40, value);
      EXPECT_EQ(burst.Run(level), 0) << value;
    }
  }
}

}  // namespace
}  // namespace zolt
