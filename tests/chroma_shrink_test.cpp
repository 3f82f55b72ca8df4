#include "kernels/chroma_shrink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "kernels/atrous_smooth.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int16_t>;
using Table = std::vector<int32_t>;

/// Inputs and outputs of a chroma shrink, every block of exactly its size.
struct Case {
  Case(int width, int height, uint32_t bound = 256)
      : w(width), h(height), area(static_cast<size_t>(w) * h), noise(area), low_pass(area) {
    const Bytes random = test::RandomPlane<uint8_t>(static_cast<int64_t>(3 * area));
    edge.assign(random.begin(), random.begin() + static_cast<int64_t>(area));
    wq.assign(random.begin() + static_cast<int64_t>(area), random.begin() + static_cast<int64_t>(2 * area));
    cw.resize(area);
    Bytes grey(random.begin() + static_cast<int64_t>(2 * area), random.end());
    for (uint8_t& v : grey) v = static_cast<uint8_t>(128 + (v - 128) * static_cast<int>(bound) / 256);
    ToQ7(grey.data(), cw.data(), w, h);
  }
  void First(const ChromaSettings& settings, int shift, const Table& table) {
    Samples work(3 * area);
    ChromaShrinkFirst(cw.data(), edge.data(), wq.data(), w, h, settings, shift, noise.data(), work.data(),
                      table.data(), low_pass.data());
  }
  void Plain(const ChromaSettings& settings, const Table& table) {
    Samples work(3 * area);
    ChromaShrinkFirstPlain(cw.data(), edge.data(), w, h, settings, noise.data(), work.data(), table.data(),
                           low_pass.data());
  }
  void Second(const ChromaSettings& settings, const Table& table) {
    Samples work(3 * area);
    ChromaShrinkSecond(cw.data(), w, h, settings, noise.data(), work.data(), table.data(), low_pass.data());
  }
  int w, h;
  size_t area;
  Bytes edge, wq;
  Samples cw;
  std::vector<uint16_t> noise;
  Bytes low_pass;
};

/// One detail through the threshold, in 64-bit numbers that are cut where they are cut.
int64_t SlowDetail(int64_t p, int64_t low, int64_t noise, const int32_t* steps, int64_t g, int level,
                   bool partial) {
  const int64_t d = static_cast<int16_t>(p - low);
  const auto product = static_cast<uint64_t>(steps[low >> 13]) * static_cast<uint64_t>(g * noise);
  const auto word = static_cast<uint32_t>(product + (partial ? 65536 : 8192));
  int64_t t = (word >> 14) & 0xFFFF;
  if (partial && t > 32767) t -= 65536;
  if (level == 0) t = std::max<int64_t>(t, 76);
  const int64_t u = std::clamp<int64_t>((t * 32441 + 16384) >> 15, -32768, 32767);
  int64_t s = (d * 327 + 16384) >> 15;
  if (d > t) {
    s = d - u;
  } else if (d < -t) {
    s = d + u;
  }
  return level == 0 && std::abs(d) < 76 ? d : s;
}

/// All details kept as planes of their own, then summed.
Samples SlowShrink(const Samples& cw, int w, int h, uint16_t g, const std::vector<uint16_t>& noise,
                   const int32_t* table) {
  Samples input = cw, low(cw.size()), temporary(cw.size());
  std::vector<int64_t> sum(cw.size());
  for (int level = 0; level < 5; ++level) {
    AtrousSmooth(input.data(), w, low.data(), w, temporary.data(), w, w, h, 1 << level);
    for (size_t i = 0; i < cw.size(); ++i) {
      const bool partial = static_cast<int>(i) % w >= w / 8 * 8;
      sum[i] +=
          static_cast<int16_t>(SlowDetail(input[i], low[i], noise[i], table + 4 * level, g, level, partial));
    }
    input = low;
  }
  Samples out(cw.size());
  for (size_t i = 0; i < cw.size(); ++i) out[i] = static_cast<int16_t>(sum[i] + low[i]);
  return out;
}

Table RandomTable(uint32_t bound, int32_t offset) {
  return test::RandomPlane<int32_t>(40, bound, offset);
}

TEST(ChromaShrink, MeetsTheSlowFormInWholeAndPartialBlocks) {
  Table extreme(40, std::numeric_limits<int32_t>::min());
  for (size_t i = 0; i < 40; i += 3) extreme[i] = std::numeric_limits<int32_t>::max();
  const std::vector<Table> tables = {Table(40, 0), RandomTable(120, 0), RandomTable(4000, -2000),
                                     RandomTable(2000000000, -1000000000), extreme};
  for (const auto& [w, h] : {std::pair{64, 24}, {69, 40}, {7, 3}, {95, 33}}) {
    for (const Table& table : tables) {
      for (const int32_t strength : {-63, -55, 170}) {
        for (int shift = 5; shift <= 8; ++shift) {
          const ChromaSettings settings = ChromaSettingsFromStrength(strength, 1228);
          Case c(w, h);
          const Samples before = c.cw;
          c.First(settings, shift, table);
          ASSERT_EQ(c.cw, SlowShrink(before, w, h, settings.g, c.noise, table.data())) << w << " " << shift;
          c.cw = before;
          c.Second(settings, table);
          ASSERT_EQ(c.cw, SlowShrink(before, w, h, settings.g, c.noise, table.data() + 20)) << w;
        }
      }
    }
  }
}

TEST(ChromaShrink, NoiseMapFallsOnEdgesAndWithMergedFrames) {
  Case c(8, 3);
  c.edge = {0, 127, 128, 200, 255, 255, 0, 0,  //
            0, 255, 0,   255, 0,   255, 0, 0,  //
            0, 0,   0,   0,   0,   0,   0, 0};
  c.wq = {0,   0,   0,   0,   0,   31,  16, 50,  //
          255, 255, 100, 100, 175, 175, 15, 64,  //
          0,   0,   0,   0,   0,   0,   0,  0};
  const ChromaSettings settings = {255, 127, 1228, 40};  // k = 2868 / 128 = 22
  c.First(settings, 5, Table(40, 0));
  // Missing frames give r = (11 * 31 + 16) >> 5 = 11, so a slope of 11 instead of 22, and c = 5.
  const std::vector<uint16_t> expected = {20480,
                                          20480,
                                          5 * (4096 - 11),
                                          5 * (4096 - 73 * 11),
                                          5 * (4096 - 128 * 11),
                                          4 * (4096 - 128 * 22),
                                          4 * 4096,
                                          2 * 4096,  //
                                          4096,
                                          1280,
                                          4096,
                                          1280,
                                          4096,
                                          1280,
                                          5 * 4096,
                                          4096};
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(c.noise[i], expected[i]) << i;

  c.Plain({255, 127, 2048, 40}, Table(40, 0));  // k = 16
  EXPECT_EQ(c.noise[1], 4096);
  EXPECT_EQ(c.noise[3], 4096 - 73 * 16);
  EXPECT_EQ(c.noise[5], 2048);
}

TEST(ChromaShrink, ZeroThresholdsReturnSmallDetailsInWholeBlocks) {
  // A grey level is 128 in Q7: with a spread of 0 to 1 levels no detail of the first level reaches 76.
  Case c(69, 32);
  for (size_t i = 0; i < c.area; ++i) c.cw[i] = static_cast<int16_t>(16000 + c.edge[i] % 70);
  const Samples before = c.cw;
  c.First(ChromaSettingsFromStrength(0, 1228), 6, Table(40, 0));
  int changed = 0;
  for (size_t i = 0; i < c.area; ++i) {
    if (i % 69 < 64) {
      ASSERT_EQ(c.cw[i], before[i]) << i;
    }
    changed += c.cw[i] != before[i];
  }
  EXPECT_GT(changed, 0);  // the last five columns round a zero threshold up to 4

  Case zero_table(64, 32), zero_scale(64, 32);
  zero_table.Plain(ChromaSettingsFromStrength(0, 2048), Table(40, 0));
  zero_scale.Plain(ChromaSettingsFromStrength(-100, 2048), RandomTable(500, 0));
  EXPECT_EQ(zero_table.cw, zero_scale.cw);
}

TEST(ChromaShrink, FirstLevelKeepsLittleAndTakesAboutTheMinimumFromMore) {
  // A lone sample x above its ground differs from its smoothed self by x - ceil(ceil(x / 2) / 2).
  for (const auto& [raise, left] :
       {std::pair{101, 101}, {102, 102 - 75}, {103, 103 - 75}, {-103, 75 - 103}}) {
    Case c(64, 64);
    std::fill(c.cw.begin(), c.cw.end(), int16_t{16384});
    c.cw[32 * 64 + 32] = static_cast<int16_t>(16384 + raise);
    c.Plain(ChromaSettingsFromStrength(0, 2048), Table(40, 0));
    EXPECT_EQ(c.cw[32 * 64 + 32], 16384 + left) << raise;
    EXPECT_EQ(c.cw[0], 16384);
  }
}

TEST(ChromaShrink, ThresholdsFollowPlaneLevelAndChromaRange) {
  // One entry of the table at a time: it acts on its own quarter of the range and in its own plane alone.
  for (int entry = 0; entry < 40; ++entry) {
    Table table(40, 0);
    table[static_cast<size_t>(entry)] = 100;
    for (int quarter = 0; quarter < 4; ++quarter) {
      for (const bool second : {false, true}) {
        Case with(64, 48), without(64, 48);
        for (Case* c : {&with, &without}) {
          for (size_t i = 0; i < c->area; ++i) {
            c->cw[i] = static_cast<int16_t>(8192 * quarter + 1000 + 20 * c->edge[i]);
          }
          std::fill(c->edge.begin(), c->edge.end(), uint8_t{0});
          std::fill(c->noise.begin(), c->noise.end(), uint16_t{4096});
          const Table& used = c == &with ? table : Table(40, 0);
          const ChromaSettings settings = ChromaSettingsFromStrength(0, 2048);
          second ? c->Second(settings, used) : c->Plain(settings, used);
        }
        EXPECT_EQ(with.cw != without.cw, second == (entry >= 20) && quarter == entry % 4)
            << entry << " " << quarter << " " << second;
      }
    }
  }
}

TEST(ChromaShrink, LowPassIsTheSecondLevels) {
  Case c(72, 40);
  Samples one(c.area), two(c.area), temporary(c.area);
  AtrousSmooth(c.cw.data(), 72, one.data(), 72, temporary.data(), 72, 72, 40, 1);
  AtrousSmooth(one.data(), 72, two.data(), 72, temporary.data(), 72, 72, 40, 2);
  Bytes expected(c.area);
  FromQ7(two.data(), expected.data(), 72, 40);
  c.First(ChromaSettingsFromStrength(-10, 1228), 7, RandomTable(200, 0));
  EXPECT_EQ(c.low_pass, expected);
}

TEST(ChromaShrink, SameBytesOnEveryProcessor) {
  Case c(77, 50, 80);
  c.First(ChromaSettingsFromStrength(-20, 1228), 7, RandomTable(60, 0));
  uint32_t sum = 2166136261u;
  for (size_t i = 0; i < c.area; ++i) sum = (sum ^ static_cast<uint16_t>(c.cw[i]) ^ c.noise[i]) * 16777619u;
  EXPECT_EQ(sum, 3094791141u);
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

TEST(ChromaPlanes, SaturatingAddCountsTheOverlapTwice) {
  for (const int w : {16, 20, 32, 47}) {
    Bytes a(static_cast<size_t>(3 * w), 100);
    const Bytes b(static_cast<size_t>(3 * w), 70);
    SaturatingAdd(a.data(), b.data(), w, 3);
    for (int i = 0; i < 3 * w; ++i) {
      const bool twice = i % w >= w - 16 && i % w < w / 16 * 16 && w % 16 != 0;
      ASSERT_EQ(a[static_cast<size_t>(i)], twice ? 240 : 170) << w << " " << i;
    }
    SaturatingAdd(a.data(), b.data(), w, 3);
    EXPECT_EQ(*std::max_element(a.begin(), a.end()), w % 16 != 0 ? 255 : 240);
  }
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
