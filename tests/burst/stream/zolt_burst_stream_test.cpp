#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/hand_held_burst.h"
#include "support/test_hooks.h"
#include "zolt_burst.h"

namespace zolt::test {
namespace {

constexpr int kWidth = 131, kHeight = 98, kShot = 6;
constexpr size_t kBlock = kWidth * kHeight + 2 * (66 * 49);

/// Two shots, the second one upside down, a cut between them.
struct Video {
  HandHeldBurst shot = MakeHandHeldBurst(kWidth, kHeight, kShot, 6);
  zolt_burst_picture Frame(int i) const {
    zolt_burst_picture frame = shot.View(static_cast<size_t>(i % kShot));
    for (int c = 0; i >= kShot && c < 3; ++c) {
      frame.planes[c] += ((c == 0 ? kHeight : kHeight / 2) - 1) * frame.row_stride[c];
      frame.row_stride[c] = -frame.row_stride[c];
    }
    return frame;
  }
};

struct Stream {
  explicit Stream(int window, int delay, int iso, const zolt_burst_hooks* hooks = nullptr) {
    zolt_burst_stream_options options;
    zolt_burst_stream_options_init(&options);
    options.window = window;
    options.delay = delay;
    options.burst.iso = iso;
    if (hooks != nullptr) options.burst.hooks = *hooks;
    opened = zolt_burst_stream_open(&handle, &options);
  }
  ~Stream() { zolt_burst_stream_close(handle); }
  int32_t Push(const zolt_burst_picture& frame) { return zolt_burst_stream_push(handle, &frame); }
  int32_t Pull(std::vector<uint8_t>* image) {
    image->assign(kBlock, 0);
    const zolt_burst_picture out = zolt_burst_yuv420_block(image->data(), kWidth, kHeight, "I420");
    return zolt_burst_stream_pull(handle, &out, nullptr, nullptr, 0);
  }
  zolt_burst_stream* handle = nullptr;
  int32_t opened = 0;
};

/// What zolt_burst_denoise makes of frames `from` to `end`.
std::vector<uint8_t> Window(const Video& video, int from, int end, int reference, int iso) {
  std::vector<zolt_burst_picture> frames;
  for (int i = from; i < end; ++i) frames.push_back(video.Frame(i));
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  options.iso = iso;
  options.reference = reference - from;
  options.fusion = ZOLT_BURST_FUSION_OFF;
  return Clean(frames, &options).image;
}

TEST(ZoltBurstStream, EachResultIsItsWindowsBurstAndNoWindowCrossesACut) {
  const Video video;
  for (const int delay : {-1, 0, 2}) {
    Stream stream(3, delay, 1600);
    ASSERT_EQ(stream.opened, ZOLT_BURST_OK);
    std::vector<std::vector<uint8_t>> results;
    for (int i = 0; i < 2 * kShot; ++i) {
      ASSERT_EQ(stream.Push(video.Frame(i)), ZOLT_BURST_OK);
      if (i == 2 * kShot - 1) {
        ASSERT_EQ(zolt_burst_stream_end(stream.handle), ZOLT_BURST_OK);
      }
      while (zolt_burst_stream_ready(stream.handle) > 0) {
        ASSERT_EQ(stream.Pull(&results.emplace_back()), ZOLT_BURST_OK);
      }
      if (delay == 0) {
        EXPECT_EQ(static_cast<int>(results.size()), i + 1);
      }
    }
    ASSERT_EQ(static_cast<int>(results.size()), 2 * kShot);
    for (int i = 0; i < 2 * kShot; ++i) {
      const int shot = i / kShot * kShot, behind = delay < 0 ? 1 : delay;
      int from = std::max(shot, i + behind - 2), end = std::min(shot + kShot, i + behind + 1);
      if (delay != 0) end = std::min(shot + kShot, std::max(end, delay < 0 ? from + 3 : end));
      if (end == shot + kShot) from = std::max(shot, end - 3);
      const bool same = results[static_cast<size_t>(i)] == Window(video, from, end, i, 1600);
      EXPECT_TRUE(same) << "delay " << delay << ", frame " << i << " of " << from << " to " << end;
    }
  }
}

TEST(ZoltBurstStream, SkippedFlushedRefusedAndUnlikeFrames) {
  const Video video;
  const HandHeldBurst other = MakeHandHeldBurst(kWidth + 2, kHeight, 1, 6);
  std::vector<uint8_t> plain, after_skip;
  for (const bool skip : {false, true}) {
    Stream stream(3, -1, 800);
    for (int i = 0; i < kShot; ++i) ASSERT_EQ(stream.Push(video.Frame(i)), ZOLT_BURST_OK);
    EXPECT_EQ(stream.Push(other.View(0)), ZOLT_BURST_UNLIKE_SIZES);
    if (skip) {
      EXPECT_EQ(zolt_burst_stream_pull(stream.handle, nullptr, nullptr, nullptr, 0), ZOLT_BURST_OK);
    } else {
      EXPECT_EQ(stream.Pull(&plain), ZOLT_BURST_OK);
    }
    EXPECT_EQ(stream.Pull(skip ? &after_skip : &plain), ZOLT_BURST_OK);
    zolt_burst_stream_flush(stream.handle);
    EXPECT_EQ(zolt_burst_stream_ready(stream.handle), 0);
    std::vector<uint8_t> none;
    EXPECT_EQ(stream.Pull(&none), ZOLT_BURST_NO_FRAMES);
    EXPECT_EQ(stream.Push(other.View(0)), ZOLT_BURST_OK);
  }
  EXPECT_TRUE(plain == after_skip);

  for (const auto& [window, delay] : {std::pair(1, -1), {11, -1}, {3, 3}, {3, -2}}) {
    EXPECT_EQ(Stream(window, delay, 0).opened, ZOLT_BURST_BAD_ARGUMENT);
  }
  EXPECT_EQ(zolt_burst_stream_push(nullptr, nullptr), ZOLT_BURST_BAD_ARGUMENT);
}

TEST(ZoltBurstStream, ARefusedBlockLosesNothing) {
  const Video video;
  const MfAllocHooks test_hooks = TestHooks::Hooks();
  const zolt_burst_hooks hooks = {test_hooks.alloc, test_hooks.free};
  std::vector<uint8_t> expected;
  for (int k = -1, refused = 1; k < 400 && refused > 0; k += 7) {
    TestHooks::Reset();
    refused = 0;
    {
      Stream stream(3, -1, 0, &hooks);
      TestHooks::RefuseAllocation(k);
      for (int i = 0; i < 3; ++i) {
        while (stream.Push(video.Frame(i)) == ZOLT_BURST_NO_MEMORY && refused < 3) ++refused;
      }
      std::vector<uint8_t> image;
      int32_t code = ZOLT_BURST_NO_MEMORY;
      while ((code = stream.Pull(&image)) == ZOLT_BURST_NO_MEMORY && refused < 3) ++refused;
      ASSERT_EQ(code, ZOLT_BURST_OK) << k;
      if (k < 0) {
        expected = image;
        refused = 1;
      }
      EXPECT_TRUE(image == expected) << k;
    }
    EXPECT_EQ(TestHooks::Outstanding(), 0);
  }
  TestHooks::RefuseAllocation(-1);
}

}  // namespace
}  // namespace zolt::test
