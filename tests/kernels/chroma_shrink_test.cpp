#include "kernels/chroma_shrink.h"

#include <gtest/gtest.h>

#include <vector>

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int16_t>;

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
