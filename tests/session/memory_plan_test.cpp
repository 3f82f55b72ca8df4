#include "session/memory_plan.h"

#include <gtest/gtest.h>

namespace zolt {
namespace {

struct PlanCase {
  int32_t width, height;
  bool planar, fusion;
  uint64_t head, block;
};

// Worked out by hand from the sizes that stages state for themselves.
TEST(MemoryPlan, BlockSizesAreExactToTheByte) {
  const PlanCase cases[] = {
      {64, 64, false, false, 2958288, 5221872},         // registration at full resolution rules
      {64, 64, true, true, 2956240, 5219824},           //
      {400, 3000, false, true, 9644096, 95843456},      // 400 columns are still full resolution
      {408, 408, true, false, 3812624, 6522944},        // 408 are not
      {264, 272, false, false, 3354928, 10386096},      //
      {1000, 760, true, true, 6876592, 12394508},       // the fusion's few rows rule
      {4000, 3000, false, false, 70079104, 124666272},  //
      {4000, 3000, false, true, 70079104, 198000008},   // the fusion's full planes rule
      {4608, 3456, true, true, 84011472, 254803976},    //
  };
  for (const PlanCase& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " planar " << c.planar);
    MemoryPlan plan;
    ASSERT_TRUE(MakeMemoryPlan(c.width, c.height, c.planar, c.fusion, &plan));
    EXPECT_EQ(plan.head_size, c.head);
    EXPECT_EQ(plan.block_size, c.block);
    EXPECT_EQ(plan[kScratch].offset, c.head);
    EXPECT_EQ(plan[kLastFrameScratch].offset, plan[kAlignedFrame].offset);
    EXPECT_EQ(plan[kGhostMap].offset,
              plan[kAlignedFrame].offset + static_cast<uint64_t>(RegistrationHead(c.width, c.height)));
  }
  // A map and its count that end 4 bytes behind a multiple of 16 get the remainder on top, no rounding.
  EXPECT_EQ(GhostMemSize(64, 64).head, 64 * 64 + 8);
}

TEST(MemoryPlan, ATableThatLeavesTheBlockIsFound) {
  MemoryPlan good;
  ASSERT_TRUE(MakeMemoryPlan(264, 272, false, true, &good));
  MemoryPlan plan = good;
  plan.head_size = plan[kGhostMap].offset + plan[kGhostMap].size - 1;
  EXPECT_FALSE(RegionsFit(plan));
  plan = good;
  --plan.block_size;
  EXPECT_FALSE(RegionsFit(plan));
  plan = good;
  ++plan.regions[kWeightMap].size;  // into the aligned frame
  EXPECT_FALSE(RegionsFit(plan));
  plan = good;
  plan.regions[kLastFrameScratch].offset = ~uint64_t{0};
  EXPECT_FALSE(RegionsFit(plan));
}

}  // namespace
}  // namespace zolt
