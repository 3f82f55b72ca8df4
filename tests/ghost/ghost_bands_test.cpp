#include "ghost/ghost_bands.h"

#include <gtest/gtest.h>

namespace zolt {
namespace {

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

}  // namespace
}  // namespace zolt
