#include "registration/homography.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "base/random.h"
#include "support/digest.h"

namespace zolt {
namespace {

constexpr float kUntouched = -7;

struct Pairs {
  std::vector<Point> source, destination;
};

/// Points anywhere in a 4000 x 3000 frame and their images.
Pairs RandomPairs(const float* h, int n) {
  Pairs pairs;
  MultiplyWithCarry random;
  for (int i = 0; i < n; ++i) {
    const Point p = {static_cast<float>(random.Next(4000 * 4)) / 4,
                     static_cast<float>(random.Next(3000 * 4)) / 4};
    pairs.source.push_back(p);
    pairs.destination.push_back(MapPoint(h, p));
  }
  return pairs;
}

TEST(SolveHomography, FindsTheMotionBehindExactPairs) {
  const float motions[][9] = {{1, 0, 0, 0, 1, 0, 0, 0, 1},
                              {1, 0, 12.25f, 0, 1, -40.5f, 0, 0, 1},
                              {0.999f, -0.035f, 60, 0.035f, 1.001f, -70, 1e-6f, -2e-6f, 1}};
  std::vector<float> models;
  for (const auto& h : motions) {
    for (const int n : {4, 5, 60, 5999}) {
      const Pairs pairs = RandomPairs(h, n);
      float model[9];
      SolveHomography(pairs.source.data(), pairs.destination.data(), n, model, kSampleJacobiLimit);
      models.insert(models.end(), model, model + 9);
      EXPECT_EQ(SolveHomography(pairs.source.data(), pairs.destination.data(), n, model, kFullJacobiLimit),
                0);
      EXPECT_EQ(model[8], 1);
      for (const Point corner : {Point{0, 0}, {4000, 0}, {0, 3000}, {4000, 3000}}) {
        const Point expected = MapPoint(h, corner), found = MapPoint(model, corner);
        EXPECT_LT(std::hypot(found.x - expected.x, found.y - expected.y), 0.5) << n;
      }
      models.insert(models.end(), model, model + 9);
    }
  }
  EXPECT_EQ(test::Digest(models), 3192925412542607761u);
}

TEST(SolveHomography, LeavesTheModelAloneWhenOneSideIsFlat) {
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const Pairs good = RandomPairs(identity, 8);
  for (const bool flat_x : {true, false}) {
    Pairs flat = good;
    for (Point& p : flat.source) (flat_x ? p.x : p.y) = 100.25f;
    float model[9] = {kUntouched};
    EXPECT_EQ(SolveHomography(flat.source.data(), good.destination.data(), 8, model, 2), 0);
    EXPECT_EQ(SolveHomography(good.source.data(), flat.source.data(), 8, model, 2), 0);
    EXPECT_EQ(SolveHomography(good.source.data(), good.destination.data(), 0, model, 2), 0);
    EXPECT_EQ(model[0], kUntouched);
  }
}

TEST(SolveHomography, EndsOnNotANumberAndInfinity) {
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (const float v : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    Pairs pairs = RandomPairs(identity, 8);
    pairs.source[3].x = v;
    float model[9];
    EXPECT_EQ(SolveHomography(pairs.source.data(), pairs.destination.data(), 8, model, kFullJacobiLimit), 0);
  }
}

TEST(CheckCollinear, NeedsEveryTripleToSpanATriangle) {
  const Point square[4] = {{0, 0}, {100, 0}, {100, 100}, {0, 100}};
  EXPECT_TRUE(CheckCollinear(square));
  // Each triple in turn on a line.
  const Point on_line[4][4] = {{{0, 0}, {50, 50}, {100, 100}, {0, 100}},
                               {{0, 0}, {50, 50}, {0, 100}, {100, 100}},
                               {{0, 0}, {0, 100}, {50, 50}, {100, 100}},
                               {{0, 100}, {0, 0}, {50, 50}, {100, 100}}};
  for (const auto& points : on_line) EXPECT_FALSE(CheckCollinear(points));
  const Point same[4] = {{5, 5}, {5, 5}, {90, 0}, {0, 90}};
  EXPECT_FALSE(CheckCollinear(same));
  // Seen from (0, 0): (2, 1) and (5, 2) have a cross term of 1, a tenth of the extents' 10, which is too
  // little; (2, 1) and (3, 1) have 1 of 7.
  const Point at_limit[4] = {{2, 1}, {5, 2}, {0, 0}, {-1000, 3000}};
  EXPECT_FALSE(CheckCollinear(at_limit));
  const Point above_limit[4] = {{2, 1}, {3, 1}, {0, 0}, {-1000, 3000}};
  EXPECT_TRUE(CheckCollinear(above_limit));
  // Fractions of a pixel don't count.
  const Point fractions[4] = {{2.9f, 1.9f}, {5.9f, 2.9f}, {0, 0}, {-1000, 3000}};
  EXPECT_FALSE(CheckCollinear(fractions));
}

}  // namespace
}  // namespace zolt
