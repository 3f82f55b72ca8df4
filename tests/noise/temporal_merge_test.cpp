#include "noise/temporal_merge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/log_lines.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

int Sat8(int v) {
  return std::clamp(v, 0, 255);
}

uint8_t SlowMix(int a, int b, int m, int w) {
  const int t = Sat8(((256 - m) * b + m * a + 128) >> 8);
  return static_cast<uint8_t>(Sat8((w * a + ((-w) & 255) * t + 128) >> 8));
}

/// The fold pixel by pixel in the order that the text of a textbook would have it: four stripes, pairs of
/// rows, whole blocks of 16, then once more the last 16 columns.
struct SlowFold {
  int w, h, share;
  const Bytes& mask;

  void Block(uint8_t* out, const uint8_t* a, const uint8_t* b, int x, int y) const {
    const int luma = w * h;
    for (int r = 0; r < 2; ++r) {
      for (int i = 0; i < 16; ++i) {
        const int p = (y + r) * w + x + i;
        out[p] = SlowMix(a[p], b[p], mask[static_cast<size_t>(p)], share);
      }
    }
    for (int plane = 0; plane < 2; ++plane) {
      for (int i = 0; i < 8; ++i) {
        const auto column = [&](int c) {
          const auto p = static_cast<size_t>(y * w + c);
          return (mask[p] + mask[p + static_cast<size_t>(w)]) >> 1;
        };
        const int m = Sat8((column(x + 2 * i) + column(x + 2 * i + 1) + 1) >> 1);
        const int p = luma + plane * luma / 4 + y / 2 * (w / 2) + x / 2 + i;
        out[p] = SlowMix(a[p], b[p], m, share);
      }
    }
  }

  void Count(uint8_t* map, int x, int y) const {
    for (int i = 0; i < 16; ++i) {
      const auto p = static_cast<size_t>(y * w + x + i);
      map[p] = static_cast<uint8_t>((map[p] & mask[p]) | (((map[p] + 25) & 255) & ~mask[p]));
    }
  }

  void Run(uint8_t* out, const uint8_t* a, const uint8_t* b, uint8_t* map) const {
    const int rows = h / 4;
    for (int stripe = 0; stripe < 4; ++stripe) {
      for (int y = stripe * rows; y + 1 < (stripe + 1) * rows; y += 2) {
        for (int x = 0; x + 16 <= w; x += 16) {
          Block(out, a, b, x, y);
          for (int r = 0; r < 2; ++r) Count(map, x, y + r);
        }
        if (w % 16 == 0) continue;
        Block(out, a, b, w - 16, y);
        for (int r = 0; r < 2; ++r) Count(map, w - 16, y + r);
      }
    }
  }
};

struct FoldSetup {
  FoldSetup(int w, int h, uint8_t share)
      : reference(w, h), aligned(w, h), mask(static_cast<size_t>(w) * static_cast<size_t>(h)) {
    reference.bytes = test::RandomPlane<uint8_t>(static_cast<int64_t>(reference.bytes.size()));
    aligned.bytes = test::RandomPlane<uint8_t>(static_cast<int64_t>(aligned.bytes.size()));
    std::reverse(aligned.bytes.begin(), aligned.bytes.end());
    mask = test::RandomPlane<uint8_t>(static_cast<int64_t>(mask.size()), 256 * 3);
    for (size_t i = 0; i < mask.size(); i += 3) mask[i] = mask[i] < 128 ? 0 : 255;
    map = test::RandomPlane<uint8_t>(static_cast<int64_t>(mask.size()), 255);
    context.images = {{reference.image(), aligned.image()}, 2};
    context.ghost = {mask.data(), nullptr};
    context.nr.weightMap = map.data();
    context.nr.blendWeight = share;
    context.nr.iirImgNum = &folded;
  }
  test::Frame reference, aligned;
  Bytes mask, map;
  int32_t folded = 1;
  NrStageContext context = {};
};

TEST(TemporalMerge, EqualsThePixelwiseFold) {
  std::vector<std::pair<int, int>> sizes = {{24, 64}, {16, 64}, {2056, 8}, {3000, 16}, {40, 1002}, {18, 24}};
  for (const YuvImage& size : test::AwkwardSizes()) sizes.emplace_back(size.width, size.height);
  for (const auto& [w, h] : sizes) {
    for (const uint8_t share : {128, 156, 210, 1, 0}) {
      for (const bool in_place : {false, true}) {
        SCOPED_TRACE(testing::Message()
                     << w << "x" << h << " share " << int{share} << " in place " << in_place);
        FoldSetup setup(w, h, share);
        test::Frame out(w, h, 77, 88);
        Bytes expected = in_place ? setup.reference.bytes : out.bytes, expected_map = setup.map;
        SlowFold{w, h, share, setup.mask}.Run(expected.data(),
                                              in_place ? expected.data() : setup.reference.bytes.data(),
                                              setup.aligned.bytes.data(), expected_map.data());
        test::Frame& target = in_place ? setup.reference : out;
        ASSERT_EQ(TemporalNrMaincall(setup.context, target.image()), 0);
        ASSERT_EQ(target.bytes, expected);
        ASSERT_EQ(setup.map, expected_map);
        EXPECT_EQ(setup.folded, 2);
      }
    }
  }
}

TEST(TemporalMerge, AThreadThatDoesNotStartFailsTheFold) {
  for (int k = 0; k < 4; ++k) {
    FoldSetup setup(64, 64, 128);
    test::Frame out(64, 64);
    test::TakeLogLines();
    const test::ThreadFailure failure(k);
    EXPECT_EQ(TemporalNrMaincall(setup.context, out.image()), -997);
    EXPECT_EQ(setup.folded, 1);
    EXPECT_EQ(failure.attempts(), 4);
    EXPECT_TRUE(test::Contains(test::TakeLogLines(), 6, "pthread_create Error!"));
  }
}

}  // namespace
}  // namespace zolt
