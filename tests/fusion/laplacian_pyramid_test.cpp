#include "fusion/laplacian_pyramid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "fusion/pyramid_fusion.h"
#include "support/log_lines.h"
#include "support/started_pool.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

using test::RandomPlane;

struct OwnedPyramid {
  explicit OwnedPyramid(const PyramidShape& shape) {
    for (int i = 0; i < shape.levels; ++i) {
      memory.emplace_back(static_cast<size_t>(shape.size(i)));
      pyramid.level[i] = memory.back().data();
    }
  }
  std::vector<std::vector<int16_t>> memory;
  LaplacianPyramid pyramid;
};

TEST(LaplacianPyramid, CollapseUndoesConstruction) {
  const test::StartedPool pool(DenoisePool());
  for (const auto& [w, h] : {std::pair{128, 128}, {136, 168}, {648, 200}, {200, 1000}}) {
    const PyramidShape shape(w, h);
    const auto source = RandomPlane<uint8_t>(w * h);
    std::vector<uint8_t> plane(source), back(source.size()),
        work(static_cast<size_t>(PyramidWorkSize(shape)));
    OwnedPyramid owned(shape);
    ConstructLaplacianPyramid(plane.data(), owned.pyramid, shape, work.data());
    CollapsePyramid(owned.pyramid, shape, back.data(), work.data());
    EXPECT_EQ(back, source) << w << 'x' << h;
    std::vector<uint8_t> next(static_cast<size_t>(shape.size(1))), temporary(shape.width[1] * h);
    PyramidFilter(source.data(), next.data(), w, h, temporary.data());
    EXPECT_TRUE(std::equal(next.begin(), next.end(), plane.begin()))
        << "level 1 stands over the plane's start";
  }
}

TEST(LaplacianPyramid, LevelsEndWhereTheShorterSideDoes) {
  EXPECT_EQ(PyramidShape(128, 4000).levels, 7);
  EXPECT_EQ(PyramidShape(255, 255).levels, 7);
  EXPECT_EQ(PyramidShape(256, 300).levels, 8);
  EXPECT_EQ(PyramidShape(1, 300).levels, 0);
  EXPECT_EQ(PyramidShape(1 << 20, 1 << 20).levels, 15);
}

TEST(LaplacianPyramid, BlendDividesBy255ToTheNearest) {
  const test::StartedPool pool(DenoisePool());
  // Levels 0, 1 and 2 of an 8 x 8 image; level 1 holds 16 coefficients with a weight each, level 2 four
  // bytes.
  const PyramidShape shape(8, 8);
  const auto mix = [](int a, int b, int weight) {
    return std::lround((a * weight + b * (255 - weight)) / 255.0);
  };
  MultiplyWithCarry random;
  for (int round = 0; round < 3000; ++round) {
    OwnedPyramid a(shape), b(shape);
    uint8_t fine[16], coarse[4];
    for (uint8_t& v : fine) v = static_cast<uint8_t>(random.Next(256));
    for (uint8_t& v : coarse) v = static_cast<uint8_t>(random.Next(256));
    for (auto* owned : {&a, &b}) {
      for (auto& level : owned->memory) {
        for (int16_t& v : level) v = static_cast<int16_t>(static_cast<int>(random.Next(511)) - 255);
      }
    }
    const OwnedPyramid before = a;
    const uint8_t *own = a.pyramid.smallest(3), *other = b.pyramid.smallest(3);
    const std::vector<uint8_t> smallest(own, own + 4);
    BlendPyramids(a.pyramid, b.pyramid, {{fine, coarse}}, shape);
    for (int i = 0; i < 64; ++i) {
      ASSERT_EQ(a.memory[0][i], mix(before.memory[0][i], b.memory[0][i], fine[(i / 16) * 4 + i % 8 / 2]));
    }
    for (int i = 0; i < 16; ++i) ASSERT_EQ(a.memory[1][i], mix(before.memory[1][i], b.memory[1][i], fine[i]));
    for (int i = 0; i < 4; ++i) ASSERT_EQ(own[i], mix(smallest[i], other[i], coarse[i]));
  }
}

TEST(PyramidFusion, ExposureTablePeaksAtMidGrey) {
  uint8_t table[256];
  ExposureTable(table);
  EXPECT_EQ(table[128], 255);
  EXPECT_EQ(table[0], 0);
  EXPECT_EQ(table[255], 0);
  EXPECT_EQ(table[128 + 26], 152);  // 255 exp(-(26 / 255)^2 / 0.02) = 151.6
  for (int k = 1; k < 128; ++k) EXPECT_EQ(table[128 - k], table[128 + k]);
}

TEST(PyramidFusion, WellExposedWinsAndEqualImagesStay) {
  const test::StartedPool pool(DenoisePool());
  constexpr int kW = 136, kH = 128;
  std::vector<uint8_t> scratch(PyramidFusionScratchSize(kW, kH));
  test::Frame a = test::TexturedFrame(kW, kH), b = a;
  const test::Frame same = a;
  const auto set = [](test::Frame& f) { return PlaneSet{{f.image().y, f.image().u, f.image().v}}; };
  EXPECT_EQ(HdrPyramidFusion(set(a), set(b), set(a), kW, kH, scratch.data()), 0);
  for (size_t i = 0; i < same.bytes.size(); ++i) ASSERT_NEAR(a.bytes[i], same.bytes[i], 1) << i;

  test::Frame mid(kW, kH, 128, 100), white(kW, kH, 250, 180);
  EXPECT_EQ(HdrPyramidFusion(set(white), set(mid), set(white), kW, kH, scratch.data()), 0);
  for (int i = 0; i < kW * kH; ++i) ASSERT_NEAR(white.bytes[i], 128, 1);
  EXPECT_EQ(white.image().u[40], 100);
  // What is brighter in the first image, by how much, within limits: odd columns don't count.
  const struct {
    uint8_t first, second;
    const char* line;
  } tones[] = {{100, 100, "refDiv = 128, matchDiv = 64."},
               {200, 100, "refDiv = 200, matchDiv = 100."},
               {250, 100, "refDiv = 245, matchDiv = 100."},
               {240, 200, "refDiv = 240, matchDiv = 160."}};
  for (const auto& [first, second, line] : tones) {
    test::Frame bright(kW, kH, first), dark(kW, kH, second);
    for (int i = 1; i < kW * kH; i += 2) bright.bytes[i] = static_cast<uint8_t>(i % 256);
    test::TakeLogLines();
    HdrPyramidFusion(set(bright), set(dark), set(bright), kW, kH, scratch.data());
    EXPECT_TRUE(test::Contains(test::TakeLogLines(), 4, line)) << line;
  }
}

}  // namespace
}  // namespace zolt
