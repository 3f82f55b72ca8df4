#include "fusion/laplacian_pyramid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "fusion/pyramid_fusion.h"
#include "support/log_lines.h"
#include "support/started_pool.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

using test::RandomPlane;

// One line by the table of positions.
std::vector<uint8_t> FilterLine(const std::vector<uint8_t>& x) {
  const int n = static_cast<int>(x.size());
  std::vector<uint8_t> out;
  for (int p = 0; p < n; p += 2) {
    if (p == 0) {
      out.push_back((x[0] + x[1] + 1) >> 1);
    } else if (p == n - 2) {
      out.push_back((x[n - 3] + 2 * x[n - 2] + x[n - 1] + 2) >> 2);
    } else if (p == n - 1) {
      out.push_back((x[n - 2] + x[n - 1] + 1) >> 1);
    } else {
      out.push_back((x[p - 2] + 4 * x[p - 1] + 6 * x[p] + 4 * x[p + 1] + x[p + 2] + 8) >> 4);
    }
  }
  return out;
}

TEST(LaplacianPyramid, FilterFollowsItsTableForOddAndEvenSides) {
  const test::StartedPool pool(DenoisePool());
  for (const auto& [w, h] : {std::pair{2, 2}, {3, 5}, {4, 4}, {5, 8}, {21, 34}, {640, 13}, {13, 640}}) {
    const auto source = RandomPlane<uint8_t>(w * h);
    const int half_w = (w + 1) / 2, half_h = (h + 1) / 2;
    std::vector<uint8_t> out(half_w * half_h), temporary(half_w * h), expected(half_w * half_h),
        narrow(half_w * h);
    PyramidFilter(source.data(), out.data(), w, h, temporary.data());
    for (int y = 0; y < h; ++y) {
      const auto line = FilterLine({source.begin() + y * w, source.begin() + (y + 1) * w});
      std::copy(line.begin(), line.end(), narrow.begin() + y * half_w);
    }
    for (int x = 0; x < half_w; ++x) {
      std::vector<uint8_t> column;
      for (int y = 0; y < h; ++y) column.push_back(narrow[y * half_w + x]);
      const auto line = FilterLine(column);
      for (int y = 0; y < half_h; ++y) expected[y * half_w + x] = line[y];
    }
    EXPECT_EQ(out, expected) << w << 'x' << h;
  }
}

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
  // Levels 0, 1 and 2 of an 8 x 8 image; level 1 holds 16 coefficients with a weight each.
  const PyramidShape shape(8, 8);
  MultiplyWithCarry random;
  for (int round = 0; round < 3000; ++round) {
    OwnedPyramid a(shape), b(shape);
    std::vector<uint8_t> weight0 = RandomPlane<uint8_t>(16), weight1 = RandomPlane<uint8_t>(4);
    for (auto* owned : {&a, &b}) {
      for (auto& level : owned->memory) {
        for (int16_t& v : level) v = static_cast<int16_t>(static_cast<int>(random.Next(511)) - 255);
      }
    }
    const OwnedPyramid before = a;
    BlendPyramids(a.pyramid, b.pyramid, {{weight0.data(), weight1.data()}}, shape);
    for (int i = 0; i < 64; ++i) {
      const int w = weight0[(i / 16) * 4 + i % 8 / 2];
      const int t = before.memory[0][i] * w + b.memory[0][i] * (255 - w);
      ASSERT_EQ(a.memory[0][i], (t < 0 ? -1 : 1) * ((std::abs(t) + 127) / 255));
    }
    for (int i = 0; i < 16; ++i) {
      const int t = before.memory[1][i] * weight0[i] + b.memory[1][i] * (255 - weight0[i]);
      ASSERT_EQ(a.memory[1][i], (t < 0 ? -1 : 1) * ((std::abs(t) + 127) / 255));
    }
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
  const auto lines = test::TakeLogLines();
  EXPECT_TRUE(test::Contains(lines, 4, "refDiv = 128, matchDiv = 64."))
      << (lines.empty() ? "" : lines.back().text);
}

}  // namespace
}  // namespace zolt
