#include "noise/spatial_scratch.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "session/memory_plan.h"

namespace zolt {
namespace {

TEST(SpatialStripeRows, CoresTileTheImageAndStripesStayInside) {
  for (int height = 256; height <= 6000; height += 16) {
    int next = 0;
    for (const StripeRows& rows : SpatialStripeRows(height)) {
      ASSERT_EQ(rows.first + rows.topOverlap, next) << height;
      ASSERT_EQ(rows.core(), height / 4) << height;
      next += rows.core();
      ASSERT_GE(rows.first, 0) << height;
      ASSERT_LE(rows.first + rows.height, height) << height;
      ASSERT_EQ(rows.height % (height == 272 ? 8 : 16), 0) << height;
      ASSERT_TRUE(rows.topOverlap == 0 || (rows.topOverlap >= 64 && rows.topOverlap < 80)) << height;
      ASSERT_TRUE(rows.bottomOverlap == 0 || (rows.bottomOverlap >= 64 && rows.bottomOverlap < 80)) << height;
    }
    ASSERT_EQ(next, height);
  }
}

// Frames are multiples of 8; what is no multiple of 16 is filtered in a padded copy, in the scratch of the
// frame as it came. Three bytes may go to alignment.
TEST(SpatialScratch, FitsTheRoomOfABurstsBlockAtEverySize) {
  const auto fits = [](int w, int h) {
    for (const bool planar : {false, true}) {
      MemoryPlan plan;
      ASSERT_TRUE(MakeMemoryPlan(w, h, planar, false, &plan)) << w << "x" << h;
      const int64_t needed = SpatialScratchBytes((w + 15) & ~15, (h + 15) & ~15);
      ASSERT_LE(static_cast<uint64_t>(needed) + 3, plan[kLastFrameScratch].size) << w << "x" << h;
    }
  };
  std::vector<int> sides = {256, 264, 272, 288,  304,  392,  400,  408,
                            416, 424, 512, 1000, 3000, 3408, 4000, 4096};
  for (const int w : sides) {
    for (const int h : sides) fits(w, h);
  }
  for (int h = 256; h <= 1200; h += 8) fits(8192, h);
  for (const auto& [w, h] : {std::pair{16384, 256},
                             {16384, 408},
                             {16384, 416},
                             {256, 16384},
                             {408, 16384},
                             {8000, 6000},
                             {9248, 6944}}) {
    fits(w, h);
  }
}

}  // namespace
}  // namespace zolt
