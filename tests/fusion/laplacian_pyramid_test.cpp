#include "fusion/laplacian_pyramid.h"

#include <gtest/gtest.h>

#include <algorithm>

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
