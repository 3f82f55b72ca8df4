#include "kernels/chroma_shrink.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int16_t>;

// What the numbers are is the slow stage's to say; here every block has exactly its size, and widths end in
// partial blocks.
TEST(ChromaShrink, StaysInItsPlanes) {
  for (const auto& [w, h] : {std::pair{77, 50}, {64, 48}, {9, 3}}) {
    const int64_t area = int64_t{w} * h;
    const Bytes edge = test::RandomPlane<uint8_t>(area), weights = test::RandomPlane<uint8_t>(area);
    const Samples before = test::RandomPlane<int16_t>(area, 10000, 11000);
    const std::vector<int32_t> table = test::RandomPlane<int32_t>(40, 300);
    const ChromaSettings settings = ChromaSettingsFromStrength(-20, 1228);
    std::vector<uint16_t> noise(edge.size());
    Samples plane = before, work(3 * edge.size());
    Bytes low_pass(edge.size());
    ChromaShrinkFirst(plane.data(), edge.data(), weights.data(), w, h, settings, 7, noise.data(), work.data(),
                      table.data(), low_pass.data());
    EXPECT_NE(plane, before);
    ChromaShrinkFirstPlain(plane.data(), edge.data(), w, h, settings, noise.data(), work.data(), table.data(),
                           low_pass.data());
    ChromaShrinkSecond(plane.data(), w, h, settings, noise.data(), work.data(), table.data(),
                       low_pass.data());
  }
}

// A grey level is 128 in Q7: within half a level no detail of the finest scale reaches 76, and what the
// levels take apart comes together again. The last five columns, behind the whole blocks, round a zero
// threshold up to 4.
TEST(ChromaShrink, ZeroThresholdsReturnSmallDetailsInWholeBlocks) {
  const int w = 69, h = 32;
  const int64_t area = int64_t{w} * h;
  const Bytes edge = test::RandomPlane<uint8_t>(area), weights = test::RandomPlane<uint8_t>(area);
  const Samples before = test::RandomPlane<int16_t>(area, 70, 16000);
  Samples plane = before, work(3 * before.size());
  std::vector<uint16_t> noise(before.size());
  Bytes low_pass(before.size());
  const std::vector<int32_t> zeros(40, 0);
  ChromaShrinkFirst(plane.data(), edge.data(), weights.data(), w, h, ChromaSettingsFromStrength(0, 1228), 6,
                    noise.data(), work.data(), zeros.data(), low_pass.data());
  for (size_t i = 0; i < plane.size(); ++i) {
    if (i % 69 < 64) {
      ASSERT_EQ(plane[i], before[i]) << i;
    }
  }
  EXPECT_NE(plane, before);
}

TEST(ChromaSettings, FollowTheStrength) {
  struct Row {
    int32_t strength, a, b, floor, g;
  };
  for (const Row& row :
       {Row{-100, 30, 15, 0, 0}, Row{-63, 30, 15, 0, 14}, Row{-62, 30, 15, 0, 15}, Row{-61, 40, 20, 1228, 15},
        Row{-40, 250, 125, 1228, 24}, Row{-39, 255, 127, 1228, 24}, Row{0, 255, 127, 1228, 40},
        Row{155, 255, 127, 1228, 102}, Row{156, 255, 127, 1228, 0}, Row{170, 255, 127, 1228, 5}}) {
    const ChromaSettings s = ChromaSettingsFromStrength(row.strength, 1228);
    EXPECT_EQ(s.a, row.a) << row.strength;
    EXPECT_EQ(s.b, row.b) << row.strength;
    EXPECT_EQ(s.floor, row.floor) << row.strength;
    EXPECT_EQ(s.g, row.g) << row.strength;
  }
  EXPECT_EQ(ChromaSettingsFromStrength(-50, 2048).floor, 2048);
  // Tenfold, these pass the ends of 32 bits; the difference that is divided by must hold up.
  for (int64_t strength = -2147483648LL; strength <= 2147483647LL; strength += 7654321) {
    const ChromaSettings s = ChromaSettingsFromStrength(static_cast<int32_t>(strength), 1228);
    ASSERT_GE(s.a - s.b, 15);
    ASSERT_LE(s.a, 255);
  }
}

TEST(ChromaPlanes, MagnitudeIsDistanceFromGreyLifted) {
  const Bytes u = {128, 0, 255, 100, 128, 128, 99}, v = {128, 0, 255, 140, 0, 255, 99};
  Bytes out(7, 1);
  ChromaMagnitude(u.data(), v.data(), out.data(), 3, 2, 4);
  EXPECT_EQ(out, (Bytes{64, 255, 255, 1, 192, 191, 122}));
}

TEST(ChromaPlanes, Q7RoundsBackAndSaturates) {
  Bytes grey(256), back(256);
  for (size_t i = 0; i < 256; ++i) grey[i] = static_cast<uint8_t>(i);
  Samples q7(256);
  ToQ7(grey.data(), q7.data(), 256, 1);
  EXPECT_EQ(q7[255], 32640);
  FromQ7(q7.data(), back.data(), 256, 1);
  EXPECT_EQ(back, grey);
  const Samples ends = {-32768, -65, -64, -1, 63, 64, 191, 192, 32575, 32576, 32767};
  back.resize(ends.size());
  FromQ7(ends.data(), back.data(), 11, 1);
  EXPECT_EQ(back, (Bytes{0, 0, 0, 0, 0, 1, 1, 2, 254, 255, 255}));
}

}  // namespace
}  // namespace zolt
