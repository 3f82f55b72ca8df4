#include "ghost/ghost_detection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "ghost/ghost_bands.h"
#include "support/log_lines.h"
#include "support/slow_burst.h"
#include "support/slow_ghost.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

constexpr GhostThresholds kThresholds = {15, 20, 60, 10, 15, 128};

/// A pair of frames, and the map and count that a call leaves.
class GhostDetectionTest : public testing::Test {
 protected:
  void SetUp() override {
    test::TestHooks::Reset();
    const MfAllocHooks hooks = test::TestHooks::Hooks();
    ChooseHooks(&hooks);
    test::TakeLogLines();
  }
  void TearDown() override {
    EXPECT_EQ(test::TestHooks::Outstanding(), 0);
    ChooseHooks(nullptr);
  }

  /// Equal frames of this size, a room that is large enough, and marks where nothing has been written.
  void Frames(int w, int h) {
    first = test::TexturedFrame(w, h);
    aligned = first;
    map.assign(w * h, 0x5C);
    count = 1234;
    room.assign(w > 256 && h > 256 ? GhostBandsScratch(w, h) + 3 : 3 * (w / 4) * (h / 4), 0x99);
    input = {};
    input.images.images[0] = first.image();
    input.images.images[1] = aligned.image();
    input.firstImages.images[0] = first.image();
    input.enabled = 1;
    input.thresholds = kThresholds;
    ResetRoom();
  }
  void ResetRoom() {
    input.scratch = room.data();
    input.scratchSize = room.size();
  }
  int32_t Detect() { return GhostDetection(&input, {map.data(), &count}); }
  bool Untouched() const { return count == 1234 && map == std::vector<uint8_t>(map.size(), 0x5C); }

  test::Frame first{8, 8}, aligned{8, 8};
  std::vector<uint8_t> map, room;
  uint32_t count = 0;
  GhostStageInput input = {};
};

TEST_F(GhostDetectionTest, IdenticalFramesGiveAnEmptyMapAndNeedNoBlockForTheBands) {
  for (const YuvImage& size : test::AwkwardSizes()) {
    Frames(size.width, size.height);
    ASSERT_EQ(Detect(), 0);
    EXPECT_EQ(map, std::vector<uint8_t>(map.size(), 0)) << size.width << "x" << size.height;
    EXPECT_EQ(count, 0u);
    const bool bands = size.width > 256 && size.height > 256;
    EXPECT_EQ(test::TestHooks::Calls().empty(), bands);
    EXPECT_EQ(input.scratch,
              room.data() + (bands ? 0 : room.size()));  // advanced past the plain form's masks
    test::TestHooks::Reset();
  }
}

TEST_F(GhostDetectionTest, NegativeLimitsMarkEveryPixelOfIdenticalFrames) {
  for (const auto& [w, h] : {std::pair{64, 72}, {256, 248}, {264, 272}, {272, 280}}) {
    Frames(w, h);
    input.thresholds = {-1, INT_MIN, 100, INT_MAX, INT_MAX, INT_MIN};
    ASSERT_EQ(Detect(), 0);
    EXPECT_EQ(map, std::vector<uint8_t>(map.size(), 255));
    // Quarters that are no multiple of four are counted by whole mask rows.
    EXPECT_EQ(count, h % 16 == 8 && h > 256 ? w * 4 * (h / 4 / 4 * 4) : w * h);
  }
}

// A wide vertical stripe of other luma, U, V or all three crosses the seams of all bands.
TEST_F(GhostDetectionTest, EqualsTheSlowFormWhereverSomethingMoved) {
  const struct {
    int w, h;
    bool bands;
  } cases[] = {{248, 248, false}, {256, 264, false}, {264, 256, false}, {256, 256, true}, {264, 264, true},
               {264, 272, true},  {320, 280, true},  {272, 520, true},  {408, 392, true}};
  for (const auto& [w, h, bands] : cases) {
    test::Frame other = test::TexturedFrame(w, h, 4);
    for (const int moved : {0, 1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << w << "x" << h << " plane " << moved);
      Frames(w, h);
      test::AddNoise(&aligned, 4.0, 2);
      for (int i = 0; i < w * h; ++i) {
        if (i % w < w / 3 || i % w >= w / 2) continue;
        const int c = i / w / 2 * (w / 2) + i % w / 2;
        if (moved % 3 == 0) aligned.image().y[i] = other.image().y[i];
        if (moved % 2 == 1) aligned.image().u[c] = first.image().u[c] ^ 64;
        if (moved >= 2) aligned.image().v[c + w / 8] = first.image().v[c + w / 8] ^ 64;
      }
      for (const GhostThresholds& t :
           {GhostThresholds{12, 20, 80, 8, 12, 128}, GhostThresholds{40, 40, 0, 20, 3, 90}}) {
        input.thresholds = t;
        ResetRoom();
        const GhostMask mask = {map.data(), &count};
        ASSERT_EQ(bands ? GhostDetectionBands(input, mask) : Detect(), 0);
        const test::SlowMotion slow =
            test::SlowGhosts(aligned, first,
                             {t.lumaTH_Low * 16, t.lumaTH_High * 16, t.lumaNoiseTH * 16, t.chromaTH_Low * 16,
                              t.chromaTH_High * 16, t.chromaNoiseTH * 16},
                             bands);
        ASSERT_EQ(map, slow.map);
        ASSERT_EQ(count, slow.count);
        EXPECT_TRUE(std::count(map.begin(), map.end(), 255) > 0 && std::count(map.begin(), map.end(), 0) > 0);
      }
    }
  }
}

TEST_F(GhostDetectionTest, AnythingButEnabledOneLeavesMapAndCount) {
  for (const auto& [w, h] : {std::pair{64, 64}, {264, 264}}) {
    for (const int32_t enabled : {0, 2, -1, 257}) {
      Frames(w, h);
      input.enabled = enabled;
      aligned.bytes.assign(aligned.bytes.size(), 0);
      EXPECT_EQ(Detect(), 0);
      EXPECT_EQ(GhostDetectionFullLuma(input, {map.data(), &count}), 0);
      EXPECT_TRUE(Untouched());
    }
  }
}

TEST_F(GhostDetectionTest, EachRefusalOfThePlainFormHasItsResult) {
  // Per plane: buffer, low-pass rows, first and second cleaning step; then smoothing. Only the buffers are
  // silent.
  const uint32_t n = 16 * 18;
  const uint32_t sizes[] = {4 * n, 2 * n, n, n, 4 * n, 2 * n, n, n, 4 * n, 2 * n, n, n, n};
  for (int k = 0; k < 13; ++k) {
    Frames(64, 72);
    aligned.bytes.assign(aligned.bytes.size(), 255);
    test::TestHooks::Reset();
    test::TestHooks::RefuseAllocation(k);
    const bool smoothing = k == 12;
    EXPECT_EQ(Detect(), smoothing ? 0 : -1000) << k;
    EXPECT_EQ(map, std::vector<uint8_t>(map.size(), 0x5C)) << k;
    EXPECT_EQ(count, smoothing ? 64u * 72 : k >= 4 ? n : 1234u) << k;
    const bool logged = test::Contains(test::TakeLogLines(), 6, "Memery Allocating Error!");
    EXPECT_EQ(logged, !smoothing && k % 4 != 0) << k;
    EXPECT_EQ(test::TestHooks::Outstanding(), 0) << k;
    int allocation = 0;
    for (const test::HookCall& call : test::TestHooks::Calls()) {
      EXPECT_EQ(call.pool, "mfdenoise");
      if (call.size == 0) continue;
      EXPECT_EQ(call.size, sizes[allocation++]) << k;
    }
    EXPECT_EQ(allocation, k + 1);
  }
}

TEST_F(GhostDetectionTest, ARoomThatIsTooSmallIsReplacedThroughTheHooks) {
  for (const auto& [w, h] : {std::pair{64, 72}, {272, 264}}) {
    Frames(w, h);
    aligned.bytes.assign(aligned.bytes.size(), 200);
    ASSERT_EQ(Detect(), 0);
    const std::vector<uint8_t> expected = map;
    for (const uint64_t size : {uint64_t{0}, uint64_t{room.size() - 4}}) {
      ResetRoom();
      input.scratchSize = size;
      map.assign(map.size(), 0x5C);
      ASSERT_EQ(Detect(), 0);
      EXPECT_EQ(map, expected);
      count = 1234;
      map.assign(map.size(), 0x5C);
      test::TestHooks::RefuseAllocation(0);
      test::TakeLogLines();
      EXPECT_EQ(Detect(), -1000);
      EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "Memery Allocating Error!"));
      EXPECT_TRUE(Untouched());
      test::TestHooks::RefuseAllocation(-1);
    }
  }
}

TEST_F(GhostDetectionTest, RoomsAndBlocksAtOddAddressesServe) {
  static const auto odd_alloc = [](uint32_t size, const char*, uint32_t) -> void* {
    return static_cast<uint8_t*>(std::malloc(size + 1)) + 1;
  };
  static const auto odd_free = [](void* block, const char*, uint32_t) {
    std::free(static_cast<uint8_t*>(block) - 1);
  };
  const MfAllocHooks odd = {odd_alloc, odd_free};
  for (const auto& [w, h] : {std::pair{32, 32}, {64, 64}, {264, 264}}) {
    Frames(w, h);
    aligned = test::TexturedFrame(w, h, 5);
    input.images.images[1] = aligned.image();
    ASSERT_EQ(Detect(), 0);
    const std::vector<uint8_t> expected = map;
    ChooseHooks(&odd);
    for (const uint64_t shift : {0, 1}) {
      input.scratch = room.data() + 1;
      input.scratchSize = shift == 0 ? 0 : room.size() - 1;
      map.assign(map.size(), 0x5C);
      ASSERT_EQ(Detect(), 0);
      EXPECT_EQ(map, expected);
    }
    SetUp();
  }
}

TEST_F(GhostDetectionTest, EachThreadThatCantStartIsReported) {
  for (int k = 0; k < 4; ++k) {
    Frames(264, 264);
    const test::ThreadFailure failure(k);
    EXPECT_EQ(Detect(), -997);
    EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "Thread Create Error!"));
    EXPECT_EQ(count, 1234u);
  }
}

TEST_F(GhostDetectionTest, FullResolutionLumaComparesEveryPixel) {
  Frames(104, 72);
  const test::Frame other = test::TexturedFrame(104, 72, 4);
  std::copy(other.bytes.begin() + 1040, other.bytes.begin() + 4160, aligned.bytes.begin() + 1040);
  const std::vector<uint8_t> found =
      test::SlowDifferenceMask({aligned.image().y, first.image().y, 104, 72}, MaskScale::kFull, {15, 20, 60});
  const std::vector<uint8_t> expected =
      test::SlowMorphology(test::SlowMorphology(found, 104, 72, 7, true), 104, 72, 3, false);
  ASSERT_EQ(GhostDetectionBands(input, {map.data(), &count}), 0);  // a side of 255 or less
  EXPECT_EQ(map, expected);
  EXPECT_EQ(count, std::count(expected.begin(), expected.end(), 255));
  EXPECT_GT(count, 0u);

  // A refused comparison (its buffer, silently, or its low-pass) is no failure; a refused cleaning step is.
  for (int refused = 0; refused < 4; ++refused) {
    map.assign(map.size(), 0x5C);
    count = 1234;
    test::TestHooks::RefuseAllocation(refused);
    test::TakeLogLines();
    EXPECT_EQ(GhostDetectionFullLuma(input, {map.data(), &count}), refused < 2 ? 0 : -1000);
    EXPECT_EQ(test::Contains(test::TakeLogLines(), 6, "Memery Allocating Error!"), refused > 0);
    EXPECT_EQ(Untouched(), refused < 2);
    EXPECT_EQ(count, 1234u);
  }
}

}  // namespace
}  // namespace zolt
