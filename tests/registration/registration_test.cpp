#include "registration/registration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <tuple>
#include <vector>

#include "base/alloc_hooks.h"
#include "registration/get_feature.h"
#include "registration/registration_arena.h"
#include "registration/warp.h"
#include "session/memory_plan.h"
#include "support/digest.h"
#include "support/log_lines.h"
#include "support/started_pool.h"
#include "support/test_hooks.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

constexpr int kShiftX = 3, kShiftY = -2;

/// A reference and a frame moved by (kShiftX, kShiftY), and all that a call needs, with the arena at an odd
/// address in a block of exactly the planned size.
struct Scene {
  Scene(int w, int h, double noise = 2.0, int down = kShiftY)
      : reference(w, h), moved(w, h), aligned(w, h, 1, 2), shift_y(down) {
    const int margin = std::max(8, down);
    test::Frame wide = test::TexturedFrame(w + 2 * margin, h + 2 * margin);
    for (int y = 0; y < h; ++y) {
      const uint8_t* row = wide.image().y + static_cast<size_t>(y + margin) * wide.width + margin;
      std::memcpy(reference.image().y + static_cast<size_t>(y) * w, row, static_cast<size_t>(w));
      row -= shift_y * wide.width + kShiftX;
      std::memcpy(moved.image().y + static_cast<size_t>(y) * w, row, static_cast<size_t>(w));
    }
    test::AddNoise(&reference, noise, 1);
    test::AddNoise(&moved, noise, 2);
    const auto planned = static_cast<size_t>(RegistrationHead(w, h) - int64_t{3} * w * h / 2);
    block.assign(planned + 1, 0xCD);
    request.isFirstFrame = request.flagC = request.doWarp = 1;
    request.iso = 800;
    request.planeCount = 2;
    request.reference = reference.image();
    request.input = moved.image();
    request.alloc = test::TestHooks::Hooks().alloc;
    request.free = test::TestHooks::Hooks().free;
    model.aligned = aligned.image();
    test::TestHooks::Reset();
    test::TakeLogLines();
  }
  int32_t Run() {
    const int32_t result = ImgRegistration(&request, &model, block.data() + 1, block.size() - 1);
    if (result != -997) {  // a pool that did not start keeps what it has
      EXPECT_EQ(RegistrationPool().counts().threads, 0);
      EXPECT_EQ(RegistrationPool().counts().users, users_before);
    }
    for (const test::HookCall& call : test::TestHooks::Calls()) EXPECT_EQ(call.pool, "surf_reg");
    return result;
  }
  RegArena Arena() {
    RegArena arena;
    EXPECT_TRUE(
        CutArena(block.data() + 1, block.size() - 1, request.input.width, request.input.height, &arena));
    return arena;
  }
  void ExpectShift(double tolerance, int sign = 1) const {
    const float* h = model.homography;
    const double cx = request.input.width / 2.0, cy = request.input.height / 2.0;
    const double d = h[6] * cx + h[7] * cy + 1;
    EXPECT_NEAR((h[0] * cx + h[1] * cy + h[2]) / d - cx, sign * kShiftX, tolerance);
    EXPECT_NEAR((h[3] * cx + h[4] * cy + h[5]) / d - cy, sign * shift_y, tolerance);
  }

  test::Frame reference, moved, aligned;
  int shift_y;
  int users_before = RegistrationPool().counts().users;
  std::vector<uint8_t> block;
  RegistrationInput request = {};
  MotionModel model = {};
};

TEST(ImgRegistration, AlignsAShiftedFrameWhateverTheWorkMemory) {
  for (const auto& [w, h] : {std::pair{1024, 768}, {400, 400}, {400, 1000}, {1600, 400}}) {
    Scene scene(w, h);
    ASSERT_EQ(scene.Run(), 0) << w;
    scene.ExpectShift(0.7);
    EXPECT_EQ(test::TestHooks::Outstanding(), 0);
    const bool reduced = w > 400 && h > 400;
    const int64_t rw = reduced ? w / 4 : w, rh = reduced ? h / 4 : h;
    EXPECT_EQ(test::TestHooks::Calls()[0].size, (2 * rw * rh + 1968103 + 68 * (rw + 1) * (rh + 1)) / 16 * 16);
    EXPECT_EQ(scene.request.workMem, nullptr);
    const auto first_aligned = scene.aligned.bytes;

    // The planned room and all blocks at odd addresses, less room than needed, and the stored features on a
    // later call.
    test::TestHooks::StartBlocksAt(1);
    std::vector<uint8_t> room(static_cast<size_t>(RegistrationMemSize(w, h).scratch) + 1, 0xEE);
    for (const size_t usable : {room.size() - 1, size_t{1900000}}) {
      for (const uint8_t first : {1, 0}) {
        scene.request.isFirstFrame = first;
        scene.request.workMem = room.data() + 1;
        scene.request.workMemSize = usable;
        const size_t calls = test::TestHooks::Calls().size();
        scene.aligned.bytes.assign(scene.aligned.bytes.size(), 77);
        ASSERT_EQ(scene.Run(), 0);
        EXPECT_EQ(scene.aligned.bytes, first_aligned) << w << " " << usable << " " << int{first};
        EXPECT_EQ(test::TestHooks::Calls()[calls].size > 1900000, usable == 1900000);
      }
    }
    EXPECT_EQ(test::TestHooks::Outstanding(), 0);
  }
}

TEST(ImgRegistration, FlagsStopTheWarpTurnTheMotionAroundAndSkipTheLevels) {
  Scene scene(640, 480);
  scene.request.doWarp = 0;
  const auto untouched = scene.aligned.bytes;
  ASSERT_EQ(scene.Run(), 0);
  EXPECT_EQ(scene.aligned.bytes, untouched);
  scene.ExpectShift(0.7);
  EXPECT_GT(scene.model.lumaLevel, scene.model.peakLevel);
  const uint8_t luma = scene.model.lumaLevel;

  scene.request.isFirstFrame = 0;
  scene.request.flagE = 1;
  scene.model.lumaLevel = 0;
  ASSERT_EQ(scene.Run(), 0);
  EXPECT_EQ(scene.model.lumaLevel, luma) << "repeated on later calls";
  scene.ExpectShift(0.7, -1);

  scene.request.isFirstFrame = 1;
  scene.request.flagC = 0;
  ASSERT_EQ(scene.Run(), 0);
  EXPECT_EQ(scene.model.lumaLevel, 0);
  EXPECT_EQ(scene.model.peakLevel, 0);
}

TEST(ImgRegistration, HistogramMatchingChangesTheFrameItselfOnlyAtFullSize) {
  for (const auto& [w, h] : {std::pair{640, 480}, {392, 640}}) {
    Scene scene(w, h, 0.0);
    // Darker by a third: fewer maxima exceed the threshold unless the histogram is put right.
    for (int i = 0; i < w * h; ++i) scene.moved.bytes[static_cast<size_t>(i)] /= 3;
    const auto dark = scene.moved.bytes;
    scene.request.flagB = 1;
    ASSERT_EQ(scene.Run(), 0);
    scene.ExpectShift(0.7);
    EXPECT_EQ(scene.moved.bytes == dark, w == 640);
  }
}

TEST(ImgRegistration, AFlatReferenceAndAFlatFrameAreTold) {
  Scene scene(640, 480);
  test::Frame flat(640, 480, 50);
  scene.request.reference = flat.image();
  EXPECT_EQ(scene.Run(), 3);
  EXPECT_EQ(scene.model.peakLevel, 50);
  EXPECT_EQ(scene.model.lumaLevel,
            50 * 12288 / 12289);  // 128 x 96 quarter-size pixels: the sample is one level
  auto lines = test::TakeLogLines();
  EXPECT_TRUE(test::Contains(lines, 4, "GETFEATURE_SURF: wrong input image for first frame!"));
  EXPECT_TRUE(test::Contains(lines, 6, "GetFeature FAILED!"));
  scene.request.isFirstFrame = 0;
  EXPECT_EQ(scene.Run(), 3);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 4, "GETFEATURE_SURF: not enough keypoints!"));

  scene.request.isFirstFrame = 1;
  scene.request.reference = scene.reference.image();
  scene.request.input = flat.image();
  EXPECT_EQ(scene.Run(), 3);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 4, "GETFEATURE_SURF: not enough keypoints!"));
  scene.request.isFirstFrame = 0;
  scene.request.input = scene.moved.image();
  EXPECT_EQ(scene.Run(), 0) << "the reference's features are still good";
  EXPECT_EQ(test::TestHooks::Outstanding(), 0);
}

TEST(ImgRegistration, AFrameThatMovedTooFarIsNotWarped) {
  Scene scene(640, 480, 2.0, 260);
  const int32_t untouched[4] = {-1, -2, -3, -4};
  std::copy_n(untouched, 4, scene.model.motionRect);
  const auto before = scene.aligned.bytes;
  EXPECT_EQ(scene.Run(), 3);
  scene.ExpectShift(0.7);  // the motion is told all the same
  EXPECT_TRUE(std::equal(untouched, untouched + 4, scene.model.motionRect));
  EXPECT_EQ(scene.aligned.bytes, before);
  EXPECT_EQ(test::TestHooks::Outstanding(), 0);
}

TEST(ImgRegistration, FiveKeypointsAreEnoughOnBothSides) {
  const auto discs = [](test::Frame* frame, int count) {
    std::fill_n(frame->bytes.begin(), 320 * 240, uint8_t{60});
    for (int i = 0; i < 81 * count; ++i) {
      const int x = i % 9 - 4, y = i / 9 % 9 - 4;
      if (x * x + y * y <= 18)
        frame->bytes[static_cast<size_t>((100 + y) * 320 + 40 + 50 * (i / 81) + x)] = 220;
    }
  };
  for (const auto& [first, second] : {std::pair{4, 5}, {5, 4}, {5, 5}}) {
    Scene scene(320, 240);
    discs(&scene.reference, first);
    discs(&scene.moved, second);
    EXPECT_EQ(scene.Run(), 3);  // equal discs can't be told from each other
    const auto lines = test::TakeLogLines();
    EXPECT_EQ(test::Contains(lines, 4, "GETFEATURE_SURF: wrong input image for first frame!"), first == 4);
    EXPECT_EQ(test::Contains(lines, 4, "GETFEATURE_SURF: not enough keypoints!"), second == 4);
    EXPECT_EQ(*scene.Arena().keypoint_count, first);
  }
}

TEST(ImgRegistration, ACrowdIsCutTo5999Keypoints) {
  Scene scene(392, 4000);
  test::Frame crowd(392, 4000, 20);
  for (int y = 0; y < 3960; ++y) {
    for (int x = 0; x < 380; ++x) {
      if (x % 12 < 5 && y % 12 < 5) crowd.image().y[(y + 16) * 392 + x + 4] = 230;
    }
  }
  scene.request.reference = crowd.image();
  EXPECT_EQ(scene.Run(), 3);
  EXPECT_EQ(*scene.Arena().keypoint_count, 5999);
}

TEST(ImgRegistration, WhatSizeAndSensitivityDecide) {
  EXPECT_EQ(DetectionSizeOf(400, 400).scale, 4);
  EXPECT_EQ(DetectionSizeOf(399, 1000).scale, 1);
  EXPECT_EQ(DetectionSizeOf(1000, 399).scale, 1);
  const std::tuple<int, float, float> rows[] = {
      {1600, 200.0f, 0.65f}, {1601, 250.0f, 0.45f}, {3200, 250.0f, 0.45f}, {3201, 250.0f, 0.4f}};
  for (const auto& [iso, threshold, ratio] : rows) {
    EXPECT_EQ(SurfParamsFor(iso).hessianDet, threshold) << iso;
    EXPECT_EQ(SurfParamsFor(iso).matchRatio, ratio) << iso;
  }
}

TEST(ImgRegistration, ALoneHookIsDropped) {
  for (const bool keep_alloc : {true, false}) {
    Scene scene(64, 64);
    if (keep_alloc) {
      scene.request.free = nullptr;
    } else {
      scene.request.alloc = nullptr;
    }
    EXPECT_GE(scene.Run(), 0);
    EXPECT_EQ(scene.request.alloc, DefaultHooks().alloc);
    EXPECT_EQ(scene.request.free, DefaultHooks().free);
    EXPECT_TRUE(test::TestHooks::Calls().empty());
  }
}

TEST(ImgRegistration, EveryRefusedAllocationHasItsResultAndLeaksNothing) {
  Scene scene(400, 408);
  ASSERT_EQ(scene.Run(), 0);
  int allocations = 0;
  for (const test::HookCall& call : test::TestHooks::Calls()) allocations += call.size != 0;
  ASSERT_GT(allocations, 17);
  for (int k = 0; k < std::min(allocations, 22); ++k) {  // those behind are refits too
    test::TestHooks::Reset();
    test::TestHooks::RefuseAllocation(k);
    test::TakeLogLines();
    scene.request.isFirstFrame = 1;
    const int32_t result = scene.Run();
    const auto lines = test::TakeLogLines();
    EXPECT_EQ(test::TestHooks::Outstanding(), 0) << k;
    EXPECT_EQ(scene.request.workMem, nullptr);
    // In order: the work memory, the histogram, 4 blocks of descriptors, the forest's index; then the current
    // frame: 4 of descriptors, the neighbours, 4 of the search, the fits. A refit that is refused is skipped.
    EXPECT_TRUE(k > 16 || result == -1000) << k;
    EXPECT_EQ(test::Contains(lines, 6, "GetFeature FAILED!"), k != 0 && result != 0) << k;
    EXPECT_EQ(test::Contains(lines, 6, "GetFeatureSurf_neon: malloc failed!"), k == 1) << k;
    const bool describes = (k >= 2 && k < 6) || (k >= 7 && k < 11);
    EXPECT_EQ(test::Contains(lines, 6, "GenerateDiscriptor_Simple_neon_multi_inside: malloc failed!"),
              describes);
    if (k == 6 || (k >= 11 && k <= 16)) {
      EXPECT_TRUE(test::Contains(lines, 6, "GETFEATURE_SURF: malloc failed!")) << k;
    }
    // What a later call may use: nothing of a reference that failed, all of one that is complete.
    test::TestHooks::Reset();
    scene.request.isFirstFrame = 0;
    EXPECT_EQ(scene.Run(), k < 7 ? 3 : 0) << k;
  }
}

TEST(CutArena, NeedsExactlyWhatItLaysOut) {
  // 101 x 101 pixels are searched: the words behind them start at a gap.
  std::vector<uint64_t> block(500000);
  auto* begin = reinterpret_cast<uint8_t*>(block.data());
  RegArena arena;
  uint64_t size = 2800000;
  while (!CutArena(begin, size, 404, 404, &arena)) ++size;
  EXPECT_EQ(reinterpret_cast<uint8_t*>(arena.column_table + WarpColumns(404)), begin + size);
}

TEST(ImgRegistration, AFailingThreadStartIsMinus997) {
  for (int k = 0; k < 4; ++k) {
    Scene scene(64, 64);
    ::testing::internal::CaptureStdout();
    int32_t result = 0;
    {
      const test::ThreadFailure failure(k);
      result = scene.Run();
    }
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Create Thread Failed!");
    EXPECT_EQ(result, -997);
    EXPECT_EQ(test::TestHooks::Outstanding(), 0);
    RegistrationPool().Stop();  // the three that did start stay by design
    EXPECT_EQ(RegistrationPool().counts().threads, 0);
    scene.request.isFirstFrame = 0;
    EXPECT_EQ(scene.Run(), 3) << "no features of the failed call";
  }
}

TEST(ImgRegistration, AwkwardSizesStayInsideTheirMemoryAndRepeat) {
  auto sizes = test::AwkwardSizes();
  for (const auto& [w, h] : {std::pair{4096, 392}, {392, 4096}, {64, 16384}}) {
    sizes.push_back({w, h, w, nullptr, nullptr, nullptr});
  }
  for (const YuvImage& size : sizes) {
    Scene scene(size.width, size.height);
    std::vector<uint8_t> room(static_cast<size_t>(RegistrationMemSize(size.width, size.height).scratch));
    scene.request.workMem = room.data();
    scene.request.workMemSize = room.size();
    const int32_t result = scene.Run();
    EXPECT_TRUE(result == 0 || result == 3) << size.width << "x" << size.height;
    const auto aligned = scene.aligned.bytes;
    const auto block = scene.block;
    EXPECT_EQ(scene.Run(), result);
    EXPECT_EQ(scene.aligned.bytes, aligned);
    EXPECT_EQ(scene.block, block) << size.width << "x" << size.height;
    for (const test::HookCall& call : test::TestHooks::Calls())
      EXPECT_LT(call.size, 2000000u) << "room suffices";
    EXPECT_EQ(ImgRegistration(&scene.request, &scene.model, scene.block.data(), 2929000), -1000);
  }
}

TEST(ImgRegistration, FeaturesNeighboursAndMotionAreTheSameOnEveryPlatform) {
  uint64_t digest = 0;
  for (const auto& [w, h] : {std::pair{1024, 768}, {320, 240}}) {
    Scene scene(w, h), turned(w, h);
    std::swap(turned.request.reference, turned.request.input);
    ASSERT_EQ(scene.Run(), 0);
    ASSERT_EQ(turned.Run(), 0);
    const RegArena a = scene.Arena(), b = turned.Arena();
    const FeatureList reference = {a.keypoints, a.descriptors, *a.keypoint_count};
    const FeatureList query = {b.keypoints, b.descriptors, *b.keypoint_count};
    ASSERT_GT(query.count, 50);
    std::vector<NeighbourPair> pairs(static_cast<size_t>(query.count));
    const test::StartedPool started;
    ASSERT_EQ(MatchDescriptors(query, reference, a.forest, pairs.data(), DefaultHooks()), 0);
    const auto n = static_cast<size_t>(reference.count);
    const std::vector<KeyPoint> keypoints(reference.keypoints, reference.keypoints + n);
    const std::vector<int32_t> words(reference.descriptors, reference.descriptors + n * kDescriptorWords);
    const std::vector<float> motion(scene.model.homography, scene.model.homography + 9);
    for (const uint64_t part : {test::Digest(keypoints), test::Digest(words), test::Digest(pairs),
                                test::Digest(motion), test::Digest(scene.aligned.bytes)}) {
      digest = digest * 3 + part;
    }
  }
  EXPECT_EQ(digest, 4753610053504309595u);
}

}  // namespace
}  // namespace zolt
