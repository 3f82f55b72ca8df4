#include "zolt_burst.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <set>
#include <thread>

#include "base/alloc_hooks.h"
#include "support/hand_held_burst.h"
#include "support/test_hooks.h"
#include "support/thread_failure.h"

namespace zolt::test {
namespace {

constexpr int kWidth = 163, kHeight = 117;
constexpr int kHalfWidth = 82, kHalfHeight = 59;
constexpr uint8_t kGap = 0xA5;

const HandHeldBurst& SmallBurst() {
  static const HandHeldBurst burst = MakeHandHeldBurst(kWidth, kHeight, 5, 8);
  return burst;
}

zolt_burst_options Defaults() {
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  return options;
}

/// A picture of given strides in memory of its own, surrounded by nothing.
struct StridedPicture {
  std::vector<uint8_t> bytes;
  zolt_burst_picture view;
};

/// I420 samples laid out anew: rows of `row` bytes, chroma interleaved when `uv_step` is 2, bottom-up when
/// `flipped`. Gaps hold kGap.
StridedPicture Relaid(const std::vector<uint8_t>& i420, int row, int uv_step, bool flipped) {
  StridedPicture out;
  const size_t chroma = static_cast<size_t>(kHeight * row), second = static_cast<size_t>(kHalfHeight * row);
  out.bytes.assign(chroma + 2 * second, kGap);
  uint8_t* y = out.bytes.data();
  uint8_t* u = y + chroma;
  uint8_t* v = uv_step == 2 ? u + 1 : u + second;
  out.view = zolt_burst_yuv420(y, u, v, kWidth, kHeight, row, row, uv_step);
  if (flipped) {
    for (int c = 0; c < 3; ++c) {
      out.view.planes[c] += (c == 0 ? kHeight - 1 : kHalfHeight - 1) * row;
      out.view.row_stride[c] = -row;
    }
  }
  const uint8_t* from = i420.data();
  for (int c = 0; c < 3; ++c) {
    const int w = c == 0 ? kWidth : kHalfWidth, h = c == 0 ? kHeight : kHalfHeight;
    for (int j = 0; j < h; ++j) {
      for (int x = 0; x < w; ++x) {
        out.view.planes[c][j * out.view.row_stride[c] + x * out.view.pixel_stride[c]] = *from++;
      }
    }
  }
  return out;
}

/// Packed RGB of a grey ramp with colour, made without the library.
std::vector<uint8_t> PackedFrame(const std::vector<uint8_t>& i420, const char* order, int row) {
  const size_t step = std::strlen(order);
  std::vector<uint8_t> out(static_cast<size_t>(kHeight * row), kGap);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      for (size_t c = 0; c < step; ++c) {
        const int luma = i420[static_cast<size_t>(y * kWidth + x)];
        const int value = order[c] == 'R'   ? luma
                          : order[c] == 'G' ? (luma + 40) / 2
                          : order[c] == 'B' ? 255 - luma
                                            : 77;
        out[static_cast<size_t>(y * row) + static_cast<size_t>(x) * step + c] = static_cast<uint8_t>(value);
      }
    }
  }
  return out;
}

TEST(ZoltBurst, EveryFormOfThePlanesGivesTheSamePicture) {
  const BurstResult plain = Clean(SmallBurst().Views());
  ASSERT_EQ(plain.code, ZOLT_BURST_OK);
  EXPECT_EQ(plain.report.merged, 5);
  struct Form {
    int row, uv_step;
    bool flipped;
  };
  for (const Form form :
       {Form{kWidth, 1, false}, Form{192, 2, false}, Form{200, 1, true}, Form{201, 2, true}}) {
    std::vector<StridedPicture> frames;
    std::vector<zolt_burst_picture> views;
    for (const auto& frame : SmallBurst().frames) {
      frames.push_back(Relaid(frame, form.row, form.uv_step, form.flipped));
      views.push_back(frames.back().view);
    }
    StridedPicture output =
        Relaid(std::vector<uint8_t>(plain.image.size(), 1), form.row, form.uv_step, form.flipped);
    const StridedPicture expected = Relaid(plain.image, form.row, form.uv_step, form.flipped);
    ASSERT_EQ(zolt_burst_denoise(views.data(), 5, nullptr, &output.view, nullptr, nullptr), ZOLT_BURST_OK);
    EXPECT_EQ(output.bytes, expected.bytes) << form.row;
  }
}

TEST(ZoltBurst, PackedFormsAgreeAndKeepAlphaAndGaps) {
  std::vector<std::vector<uint8_t>> results;
  for (const char* order : {"RGB", "BGR", "RGBA", "ABGR"}) {
    const int step = static_cast<int>(std::strlen(order)), row = kWidth * step + 11;
    std::vector<std::vector<uint8_t>> frames;
    std::vector<zolt_burst_picture> views;
    for (const auto& frame : SmallBurst().frames) {
      frames.push_back(PackedFrame(frame, order, row));
      views.push_back(zolt_burst_rgb(frames.back().data(), kWidth, kHeight, row, order));
    }
    std::vector<uint8_t> out(frames[0].size(), kGap);
    const zolt_burst_picture output = zolt_burst_rgb(out.data(), kWidth, kHeight, row, order);
    ASSERT_EQ(zolt_burst_denoise(views.data(), 5, nullptr, &output, nullptr, nullptr), ZOLT_BURST_OK)
        << order;
    std::vector<uint8_t> rgb;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        for (int c = 0; c < 3; ++c) rgb.push_back(output.planes[c][y * row + x * step]);
        if (step == 4) {
          EXPECT_EQ(output.planes[3][y * row + x * step], 77);
        }
      }
      for (int x = kWidth * step; x < row; ++x) EXPECT_EQ(out[static_cast<size_t>(y * row + x)], kGap);
    }
    results.push_back(rgb);
  }
  for (const auto& result : results) EXPECT_EQ(result, results[0]);
  // Not one colour for another: the scene's red is its luma, its blue the negative.
  double red = 0, blue = 0;
  const std::vector<uint8_t>& truth = SmallBurst().truth;
  for (size_t i = 0; i < static_cast<size_t>(kWidth * kHeight); ++i) {
    red += std::abs(results[0][3 * i] - truth[i]);
    blue += std::abs(results[0][3 * i + 2] - (255 - truth[i]));
  }
  EXPECT_LT(red / (kWidth * kHeight), 10);
  EXPECT_LT(blue / (kWidth * kHeight), 10);
}

TEST(ZoltBurst, BadInputGetsItsCodeAndNothingIsWritten) {
  const zolt_burst_picture good = SmallBurst().View(0);
  std::vector<uint8_t> out(SmallBurst().frames[0].size(), kGap);
  const zolt_burst_picture output = zolt_burst_yuv420_block(out.data(), kWidth, kHeight, "I420");
  const auto with = [&](auto change) {
    zolt_burst_picture picture = good;
    change(picture);
    return picture;
  };
  struct Case {
    const char* what;
    zolt_burst_picture picture;
    int32_t code;
  };
  const Case cases[] = {
      {"no plane", with([](auto& p) { p.planes[1] = nullptr; }), ZOLT_BURST_BAD_PICTURE},
      {"unknown layout", with([](auto& p) { p.layout = 7; }), ZOLT_BURST_BAD_PICTURE},
      {"zero width", with([](auto& p) { p.width = 0; }), ZOLT_BURST_BAD_PICTURE},
      {"negative height", with([](auto& p) { p.height = INT_MIN; }), ZOLT_BURST_BAD_PICTURE},
      {"too small", with([](auto& p) { p.width = 15; }), ZOLT_BURST_BAD_PICTURE},
      {"huge", with([](auto& p) { p.width = INT_MAX; }), ZOLT_BURST_BAD_PICTURE},
      {"rows overlap", with([](auto& p) { p.row_stride[0] = kWidth - 1; }), ZOLT_BURST_BAD_PICTURE},
      {"one row over and over", with([](auto& p) { p.row_stride[2] = 0; }), ZOLT_BURST_BAD_PICTURE},
      {"one sample over and over", with([](auto& p) { p.pixel_stride[1] = 0; }), ZOLT_BURST_BAD_PICTURE},
      {"stride beyond memory", with([](auto& p) { p.row_stride[0] = PTRDIFF_MAX; }), ZOLT_BURST_BAD_PICTURE},
      {"stride beyond memory", with([](auto& p) { p.row_stride[0] = PTRDIFF_MIN; }), ZOLT_BURST_BAD_PICTURE},
      {"U is V", with([](auto& p) { p.planes[1] = p.planes[2]; }), ZOLT_BURST_BAD_PICTURE},
      {"a record of before", with([](auto& p) { p.size = 8; }), ZOLT_BURST_BAD_PICTURE},
      {"another size", with([](auto& p) { p.width = kWidth - 3; }), ZOLT_BURST_UNLIKE_SIZES},
      {"unknown order", zolt_burst_yuv420_block(out.data(), kWidth, kHeight, "P010"), ZOLT_BURST_BAD_PICTURE},
      {"unknown order", zolt_burst_rgb(out.data(), kWidth, kHeight, 0, "RBG"), ZOLT_BURST_BAD_PICTURE},
  };
  for (const Case& c : cases) {
    const zolt_burst_picture frames[] = {good, c.picture};
    EXPECT_EQ(zolt_burst_denoise(frames, 2, nullptr, &output, nullptr, nullptr), c.code) << c.what;
    EXPECT_EQ(zolt_burst_denoise(&good, 1, nullptr, &c.picture, nullptr, nullptr), c.code)
        << c.what << ", output";
    zolt_burst* burst = nullptr;
    ASSERT_EQ(zolt_burst_open(&burst, nullptr), ZOLT_BURST_OK);
    EXPECT_EQ(zolt_burst_add(burst, &good), ZOLT_BURST_OK);
    EXPECT_EQ(zolt_burst_add(burst, &c.picture), c.code) << c.what;
    zolt_burst_close(burst);
  }
  EXPECT_EQ(zolt_burst_denoise(nullptr, 2, nullptr, &output, nullptr, nullptr), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(zolt_burst_denoise(&good, 0, nullptr, &output, nullptr, nullptr), ZOLT_BURST_NO_FRAMES);
  EXPECT_EQ(zolt_burst_denoise(&good, -1, nullptr, &output, nullptr, nullptr), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(zolt_burst_denoise(&good, 1, nullptr, nullptr, nullptr, nullptr), ZOLT_BURST_BAD_ARGUMENT);
  const auto code_with = [&](auto change) {
    zolt_burst_options options = Defaults();
    change(options);
    return zolt_burst_denoise(&good, 1, &options, &output, nullptr, nullptr);
  };
  EXPECT_EQ(code_with([](auto& o) { o.mode = 2; }), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(code_with([](auto& o) { o.iso = -1; }), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(code_with([](auto& o) { o.reference = 1; }), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(code_with([](auto& o) { o.expected_frames = 11; }), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(code_with([](auto& o) { o.hooks.alloc = TestHooks::Hooks().alloc; }), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(code_with([](auto& o) { o.tuning_folder = "/nowhere"; }), ZOLT_BURST_BAD_TUNING);
  EXPECT_EQ(code_with([](auto& o) { o.memory_limit = 1 << 20; }), ZOLT_BURST_MEMORY_LIMIT);
  EXPECT_EQ(code_with([](auto& o) { o.size = 0; }), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(out, std::vector<uint8_t>(out.size(), kGap));

  EXPECT_EQ(zolt_burst_open(nullptr, nullptr), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(zolt_burst_add(nullptr, &good), ZOLT_BURST_BAD_ARGUMENT);
  EXPECT_EQ(zolt_burst_finish(nullptr, &output, nullptr, nullptr, 0), ZOLT_BURST_BAD_ARGUMENT);
  zolt_burst_reset(nullptr);
  zolt_burst_close(nullptr);
}

// An older caller's shorter records get no byte more than they have, and defaults where they have nothing.
TEST(ZoltBurst, RecordsKeepToTheirSize) {
  struct Old {
    uint32_t size;
    int32_t mode, fell_back, frames, guard;
  } old = {4 * sizeof(uint32_t), -1, -1, -1, 12345};
  zolt_burst_options options = Defaults();
  options.size = offsetof(zolt_burst_options, iso);
  options.iso = -5;  // behind the record's end
  const std::vector<zolt_burst_picture> frames = SmallBurst().Views();
  std::vector<uint8_t> out(SmallBurst().frames[0].size());
  const zolt_burst_picture output = zolt_burst_yuv420_block(out.data(), kWidth, kHeight, "I420");
  EXPECT_EQ(zolt_burst_denoise(frames.data(), 5, &options, &output,
                               reinterpret_cast<zolt_burst_report*>(&old), nullptr),
            ZOLT_BURST_OK);
  EXPECT_EQ(old.frames, 5);
  EXPECT_EQ(old.guard, 12345);
  EXPECT_EQ(old.size, 4 * sizeof(uint32_t));
}

TEST(ZoltBurst, EveryRefusedBlockIsToldAndLeaksNothing) {
  zolt_burst_options options = Defaults();
  options.hooks = {TestHooks::Hooks().alloc, TestHooks::Hooks().free};
  const std::vector<zolt_burst_picture> all = SmallBurst().Views();
  const std::vector<zolt_burst_picture> frames(all.begin(), all.begin() + 3);
  for (const bool at_once : {false, true}) {
    options.reference = at_once ? 0 : -1;
    options.expected_frames = at_once ? 3 : 0;
    int refusals = 0;
    // Under sanitizers, where no block is kept, the hooks are called many times more.
    for (int k = 0; k < 20000; k += k < 40 ? 1 : k < 400 ? 7 : 397) {
      TestHooks::Reset();
      TestHooks::RefuseAllocation(k);
      std::vector<uint8_t> out(SmallBurst().frames[0].size(), kGap);
      const zolt_burst_picture output = zolt_burst_yuv420_block(out.data(), kWidth, kHeight, "I420");
      zolt_burst* burst = nullptr;
      ASSERT_EQ(zolt_burst_open(&burst, &options), ZOLT_BURST_OK);
      int32_t code = ZOLT_BURST_OK;
      for (const zolt_burst_picture& frame : frames) {
        if (code == ZOLT_BURST_OK) code = zolt_burst_add(burst, &frame);
      }
      if (code == ZOLT_BURST_OK) code = zolt_burst_finish(burst, &output, nullptr, nullptr, 0);
      zolt_burst_close(burst);
      EXPECT_EQ(TestHooks::Outstanding(), 0) << k;
      if (code == ZOLT_BURST_NO_MEMORY) {
        ++refusals;
        EXPECT_EQ(out, std::vector<uint8_t>(out.size(), kGap)) << k;
      } else {
        // Smaller blocks that the result does without may be refused; past the last block nothing is.
        EXPECT_EQ(code, ZOLT_BURST_OK) << k;
        if (static_cast<int>(TestHooks::Calls().size()) <= k) break;
      }
      ASSERT_LT(k, 19000);
    }
    EXPECT_GT(refusals, 4);
  }
}

TEST(ZoltBurst, EveryRefusedThreadIsToldOrDoneWithout) {
  const std::vector<zolt_burst_picture> frames = SmallBurst().Views();
  const BurstResult expected = Clean(frames);
  for (int k = 0; k < 1000; k += 31) {
    const ThreadFailure failure(k);
    const BurstResult result = Clean(frames);
    if (result.code == ZOLT_BURST_OK) {
      EXPECT_EQ(result.image, expected.image) << k;
    } else {
      EXPECT_EQ(result.code, ZOLT_BURST_NO_THREADS) << k;
    }
    if (failure.attempts() <= k) return;
  }
}

TEST(ZoltBurst, FrameByFrameIsTheSameAndAHandleServesManyBursts) {
  const BurstResult whole = Clean(SmallBurst().Views());
  zolt_burst_options at_once = Defaults();
  at_once.reference = 0;
  at_once.expected_frames = 5;
  const BurstResult whole_at_once = Clean(SmallBurst().Views(), &at_once);
  for (const bool merges_at_once : {false, true}) {
    const BurstResult& expected = merges_at_once ? whole_at_once : whole;
    zolt_burst* burst = nullptr;
    ASSERT_EQ(zolt_burst_open(&burst, merges_at_once ? &at_once : nullptr), ZOLT_BURST_OK);
    std::vector<uint8_t> out(expected.image.size());
    const zolt_burst_picture output = zolt_burst_yuv420_block(out.data(), kWidth, kHeight, "I420");
    EXPECT_EQ(zolt_burst_finish(burst, &output, nullptr, nullptr, 0), ZOLT_BURST_NO_FRAMES);
    for (int round = 0; round < 3; ++round) {
      for (size_t i = 0; i < 5; ++i) {
        std::vector<uint8_t> passing = SmallBurst().frames[i];
        const zolt_burst_picture view = zolt_burst_yuv420_block(passing.data(), kWidth, kHeight, "I420");
        ASSERT_EQ(zolt_burst_add(burst, &view), ZOLT_BURST_OK);
        std::fill(passing.begin(), passing.end(), uint8_t{0});  // the frame is read during the call only
      }
      if (round == 1) {
        zolt_burst_reset(burst);
        continue;
      }
      zolt_burst_report report;
      zolt_burst_report_init(&report);
      std::vector<zolt_burst_frame_report> told(3);
      for (auto& t : told) zolt_burst_frame_report_init(&t);
      std::fill(out.begin(), out.end(), uint8_t{0});
      EXPECT_EQ(zolt_burst_finish(burst, &output, &report, told.data(), 3), ZOLT_BURST_OK);
      EXPECT_EQ(out, expected.image) << merges_at_once << round;
      EXPECT_EQ(report.merged, 5);
      EXPECT_EQ(told[0].use, ZOLT_BURST_IS_REFERENCE);
      EXPECT_EQ(told[2].use, ZOLT_BURST_USED);
    }
    zolt_burst_close(burst);
  }
}

TEST(ZoltBurst, ThreadsAtOnceGetWhatOneGets) {
  const BurstResult expected = Clean(SmallBurst().Views());
  std::vector<BurstResult> results(8);
  std::vector<std::thread> threads;
  for (BurstResult& result : results)
    threads.emplace_back([&result] { result = Clean(SmallBurst().Views()); });
  for (std::thread& thread : threads) thread.join();
  for (const BurstResult& result : results) EXPECT_EQ(result.image, expected.image);
}

TEST(ZoltBurst, ASessionOfTheEngineBesideItKeepsItsHooks) {
  const MfAllocHooks own = TestHooks::Hooks();
  ChooseHooks(&own);
  EXPECT_EQ(Clean(SmallBurst().Views()).code, ZOLT_BURST_OK);
  EXPECT_EQ(CurrentHooks().alloc, own.alloc);
  ChooseHooks(nullptr);
}

TEST(ZoltBurst, ProgressRisesAndCancelsAnywhere) {
  struct Watch {
    int calls = 0, cancel_at = -1;
    double done = 0;
  };
  const auto listen = [](void* user, double done) {
    auto* watch = static_cast<Watch*>(user);
    EXPECT_GE(done, watch->done);
    EXPECT_LE(done, 1);
    watch->done = done;
    return watch->calls++ == watch->cancel_at ? 1 : 0;
  };
  Watch whole;
  zolt_burst_options options = Defaults();
  options.progress = listen;
  options.progress_user = &whole;
  EXPECT_EQ(Clean(SmallBurst().Views(), &options).code, ZOLT_BURST_OK);
  EXPECT_EQ(whole.done, 1);
  EXPECT_GT(whole.calls, 8);
  for (int k = 0; k < whole.calls; ++k) {
    Watch watch;
    watch.cancel_at = k;
    options.progress_user = &watch;
    const BurstResult cancelled = Clean(SmallBurst().Views(), &options);
    EXPECT_EQ(cancelled.code, ZOLT_BURST_CANCELLED);
    EXPECT_EQ(cancelled.image, std::vector<uint8_t>(cancelled.image.size(), 0));
  }
}

TEST(ZoltBurst, AnySizeIsCleanedWithinTheMemoryToldBefore) {
  struct Size {
    int width, height, frames;
    int32_t mode = ZOLT_BURST_FAST;
  };
  constexpr int32_t kFine = ZOLT_BURST_FINE;
  for (const Size s :
       {Size{16, 16, 3}, Size{17, 31, 2}, Size{16, 400, 3}, Size{1001, 16, 2}, Size{333, 257, 11},
        Size{320, 240, 1}, Size{16, 16, 3, kFine}, Size{1001, 24, 2, kFine}, Size{333, 257, 4, kFine}}) {
    const HandHeldBurst burst = MakeHandHeldBurst(s.width, s.height, s.frames, 6);
    zolt_burst_options limited = Defaults();
    limited.reference = 0;  // the truth's
    limited.mode = s.mode;
    const BurstResult result = Clean(burst.Views(), &limited);
    ASSERT_EQ(result.code, ZOLT_BURST_OK) << s.width;
    EXPECT_EQ(result.report.frames, s.frames);
    EXPECT_LE(result.report.merged, 10);
    // A few hundred pixels tell neither their motion nor their noise well.
    const double lost = s.width * s.height < 1000 ? 3 : 0;
    EXPECT_GT(LumaPsnr(result.image, burst.truth, s.width, s.height),
              LumaPsnr(burst.frames[0], burst.truth, s.width, s.height) - lost)
        << s.width;
    const uint64_t need = zolt_burst_memory_needed(s.width, s.height, 0, s.mode);
    EXPECT_LE(result.report.peak_memory, need) << s.width;
    EXPECT_GT(result.report.peak_memory * 6, need) << s.width;
    limited.memory_limit = need;
    EXPECT_EQ(Clean(burst.Views(), &limited).code, ZOLT_BURST_OK);
    limited.memory_limit = need - 1;
    const BurstResult refused = Clean(burst.Views(), &limited);
    EXPECT_EQ(refused.code, s.mode == kFine ? ZOLT_BURST_OK : ZOLT_BURST_MEMORY_LIMIT) << s.width;
    EXPECT_EQ(refused.report.fell_back, s.mode == kFine ? 1 : 0);
  }
  EXPECT_EQ(zolt_burst_memory_needed(15, 16, 2, ZOLT_BURST_FAST), 0u);
  EXPECT_EQ(zolt_burst_memory_needed(INT_MAX, INT_MAX, 2, ZOLT_BURST_FAST), 0u);
}

}  // namespace
}  // namespace zolt::test
