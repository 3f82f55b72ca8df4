#include "ghost/ghost_bands.h"

#include <gtest/gtest.h>

#include "ghost/difference_mask.h"
#include "kernels/blur121.h"
#include "kernels/upscale_mask4.h"
#include "support/slow_ghost.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(GhostBand, LayoutOfHeightsThatAreAndAreNoMultipleOfSixteen) {
  struct Expected {
    int h, index, first_row, height, top_skip, core, chroma_first, chroma_rows, chroma_top, chroma_bottom;
  };
  // 3000 = 8 mod 16: quarters of 750 luma and 375 chroma rows, overlaps of 66 and 17.
  const Expected table[] = {
      {3000, 0, 0, 816, 0, 750, 0, 392, 0, 17},        {3000, 1, 684, 880, 66, 750, 358, 408, 17, 16},
      {3000, 2, 1434, 880, 66, 750, 733, 408, 17, 16}, {3000, 3, 2184, 816, 66, 750, 1108, 392, 17, 0},
      {272, 0, 0, 132, 0, 68, 0, 50, 0, 16},           {272, 1, 4, 196, 64, 68, 18, 66, 16, 16},
      {272, 3, 140, 132, 64, 68, 86, 50, 16, 0},       {264, 1, 0, 196, 66, 66, 16, 66, 17, 16}};
  for (const Expected& e : table) {
    const GhostBand band = GhostBand::Of(e.h, e.index);
    EXPECT_EQ(band.first_row, e.first_row) << e.h << " band " << e.index;
    EXPECT_EQ(band.height, e.height) << e.h << " band " << e.index;
    EXPECT_EQ(band.top_skip, e.top_skip);
    EXPECT_EQ(band.core_rows, e.core);
    EXPECT_EQ(band.chroma_first_row, e.chroma_first) << e.h << " band " << e.index;
    EXPECT_EQ(band.chroma_rows, e.chroma_rows) << e.h << " band " << e.index;
    EXPECT_EQ(band.chroma_top_skip, e.chroma_top);
    EXPECT_EQ(band.chroma_bottom_skip, e.chroma_bottom);
  }
}

TEST(GhostBand, EveryFrameHeightGivesBandsInsideTheFrame) {
  for (int h = 264; h <= 4400; h += 8) {
    for (int i = 0; i < GhostBand::kCount; ++i) {
      const GhostBand b = GhostBand::Of(h, i);
      ASSERT_GE(b.first_row, 0) << h;
      ASSERT_LE(b.first_row + b.height, h) << h;
      ASSERT_LE(b.chroma_first_row + b.chroma_rows, h / 2) << h;
      ASSERT_EQ(b.first_row + b.top_skip, i * b.core_rows) << h;
      ASSERT_LE(b.top_skip + b.core_rows, b.height) << h;
      const int above = b.chroma_top_skip / 2, joined = above + (b.core_rows >> 2) + b.chroma_bottom_skip / 2;
      ASSERT_LE((b.top_skip >> 2) - above + joined, b.height >> 2) << h;
      ASSERT_LE(joined, b.chroma_rows >> 1) << h;
    }
  }
}

TEST(GhostBand, WorkingMemoryFitsTheRoomThatTheBurstPlansForIt) {
  const auto plan = [](uint64_t w, uint64_t h) {
    const uint64_t chroma = (h >> 3) + 34;
    return 4 *
           ((((h >> 2) + 132) >> 2) * (w >> 2) * 7 + (chroma >> 1) * (w >> 2) * 6 + chroma * (w >> 1) * 2);
  };
  for (const auto& [w, h] :
       {std::pair{264, 264}, {264, 4000}, {4000, 264}, {264, 8192}, {8192, 264}, {4000, 3000}}) {
    EXPECT_LE(GhostBandsScratch(w, h) + 3, plan(w, h)) << w << "x" << h;
  }
}

/// What a band finds, from plain steps over a cropped image of its own and a full-size upscaled buffer.
struct SlowBand {
  std::vector<uint8_t> map_rows;
  uint32_t count = 0;
};

SlowBand RunSlowBand(const GhostStageInput& input, int w, const GhostBand& b) {
  const GhostThresholds& t = input.thresholds;
  const YuvImage &aligned = input.images.images[1], &first = input.firstImages.images[0];
  const int columns = w / 4, rows = b.height / 4;
  const int at = b.first_row * w, chroma_at = b.chroma_first_row * (w / 2);
  std::vector<uint8_t> mask =
      test::SlowDifferenceMask({aligned.y + at, first.y + at, w, b.height}, MaskScale::kQuarter,
                               {t.lumaTH_Low, t.lumaTH_High, t.lumaNoiseTH});
  mask = test::SlowMorphology(test::SlowMorphology(mask, columns, rows, 7, true), columns, rows, 3, false);
  const std::pair<uint8_t*, uint8_t*> chroma[] = {{aligned.u, first.u}, {aligned.v, first.v}};
  for (const auto& [a, f] : chroma) {
    std::vector<uint8_t> found =
        test::SlowDifferenceMask({a + chroma_at, f + chroma_at, w / 2, b.chroma_rows}, MaskScale::kHalf,
                                 {t.chromaTH_Low, t.chromaTH_High, t.chromaNoiseTH});
    const int chroma_rows = b.chroma_rows / 2;
    found = test::SlowMorphology(test::SlowMorphology(found, columns, chroma_rows, 3, false), columns,
                                 chroma_rows, 7, true);
    const int above = b.chroma_top_skip / 2, start = b.top_skip / 4 - above;
    for (int r = 0; r < above + b.core_rows / 4 + b.chroma_bottom_skip / 2; ++r) {
      for (int x = 0; x < columns; ++x) mask[(start + r) * columns + x] |= found[r * columns + x];
    }
  }
  SlowBand result;
  const auto core = mask.begin() + b.top_skip / 4 * columns;
  result.count = 16 * static_cast<uint32_t>(std::count(core, core + b.core_rows / 4 * columns, 255));
  std::vector<uint8_t> temporary(mask.size()), full(w * b.height);
  Blur121(mask.data(), mask.data(), temporary.data(), columns, rows, columns, columns, columns);
  UpscaleMask4(mask.data(), rows, columns, full.data());
  result.map_rows.assign(full.begin() + b.top_skip * w, full.begin() + (b.top_skip + b.core_rows) * w);
  return result;
}

TEST(GhostBands, EqualTheSlowFormOfBandsThatAreImagesOfTheirOwn) {
  for (const auto& [w, h] : {std::pair{264, 264}, {264, 272}, {320, 280}, {272, 520}, {408, 392}}) {
    test::Frame first = test::TexturedFrame(w, h), aligned = test::TexturedFrame(w, h);
    test::Frame other = test::TexturedFrame(w, h, 4);
    test::AddNoise(&aligned, 4.0, 2);
    // A wide vertical stripe of another scene crosses every seam, in luma and chroma.
    for (int y = 0; y < h; ++y) {
      for (int x = w / 3; x < w / 2; ++x) {
        aligned.image().y[y * w + x] = other.image().y[y * w + x];
        const int c = (y / 2) * (w / 2) + x / 2;
        aligned.image().u[c] = other.image().u[c];
        aligned.image().v[c + w / 8] = other.image().v[c + w / 8];
      }
    }
    GhostStageInput input = {};
    input.images.images[0] = first.image();
    input.images.images[1] = aligned.image();
    input.firstImages.images[0] = first.image();
    input.enabled = 1;
    for (const GhostThresholds& thresholds :
         {GhostThresholds{12, 20, 80, 8, 12, 128}, GhostThresholds{40, 40, 0, 20, 3, 90}}) {
      input.thresholds = thresholds;
      std::vector<uint8_t> map(w * h, 0x11);
      uint32_t count = 77;
      ASSERT_EQ(GhostDetectionBands(input, {map.data(), &count}), 0);
      uint32_t expected_count = 0;
      std::vector<uint8_t> expected;
      for (int i = 0; i < GhostBand::kCount; ++i) {
        const SlowBand band = RunSlowBand(input, w, GhostBand::Of(h, i));
        expected.insert(expected.end(), band.map_rows.begin(), band.map_rows.end());
        expected_count += band.count;
      }
      ASSERT_EQ(map, expected) << w << "x" << h;
      ASSERT_EQ(count, expected_count);
      ASSERT_GT(count, 0u);
      ASSERT_LT(count, static_cast<uint32_t>(w * h));
    }
  }
}

}  // namespace
}  // namespace zolt
