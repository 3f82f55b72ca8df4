#include "registration/keypoint_detection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace zolt {
namespace {

/// Three equal layers of zeros, 15 the middle one.
struct Layers {
  explicit Layers(int w, int h) {
    for (int k = 0; k < 3; ++k) {
      memory[k].assign(static_cast<size_t>(w) * h, 0);
      layers[k] = {memory[k].data(), kFilterSizes[k], w, h};
    }
  }
  int32_t& at(int k, int row, int column) {
    return memory[k][static_cast<size_t>(row) * layers[k].width + column];
  }
  std::vector<KeyPoint> Find(int32_t threshold) {
    std::vector<KeyPoint> candidates(kKeypointCapacity);
    candidates.resize(
        static_cast<size_t>(FindExtrema(layers[0], layers[1], layers[2], threshold, candidates.data())));
    return candidates;
  }
  std::vector<int32_t> memory[3];
  ResponseLayer layers[3];
};

/// A peak at (row, column) that leans to the right, upwards and to the larger filter.
void AddPeak(Layers* l, int row, int column) {
  l->at(1, row, column) = 100000;
  l->at(1, row, column - 1) = 90000;
  l->at(1, row, column + 1) = 94000;
  l->at(1, row - 1, column) = 94000;
  l->at(1, row + 1, column) = 90000;
  l->at(0, row, column) = 80000;
  l->at(2, row, column) = 90000;
}

TEST(FindExtrema, InterpolatesThePeak) {
  Layers layers(40, 50);
  AddPeak(&layers, 25, 20);
  const auto found = layers.Find(99999);
  ASSERT_EQ(found.size(), 1u);
  // Parabola through (90000, 100000, 94000): 1/8 of a pixel; (80000, 100000, 90000): 1/6 of six pixels.
  EXPECT_EQ(found[0].x, 20 * 256 + 32);
  EXPECT_EQ(found[0].y, 25 * 256 - 32);
  EXPECT_EQ(found[0].scale, 16);
  EXPECT_EQ(found[0].reserved0 | found[0].reserved1 | found[0].reserved2, 0);
  EXPECT_TRUE(layers.Find(100000).empty()) << "must exceed the threshold";
}

TEST(FindExtrema, RefusesTiesDegenerateAndFarPeaks) {
  for (int k = 0; k < 3; ++k) {
    for (int i = -1; i <= 1; ++i) {
      for (int j = -1; j <= 1; ++j) {
        if (k == 1 && i == 0 && j == 0) continue;
        Layers tied(40, 40);
        AddPeak(&tied, 20, 20);
        tied.at(k, 20 + i, 20 + j) = 100000;
        EXPECT_TRUE(tied.Find(99999).empty()) << k << i << j;
      }
    }
  }
  Layers flat(40, 40);  // a ridge: the determinant is 0
  flat.at(1, 20, 20) = 100;
  for (const int i : {19, 21}) flat.at(1, i, 20) = flat.at(1, 20, i) = 90;
  flat.at(1, 19, 19) = flat.at(1, 21, 21) = 40;
  EXPECT_TRUE(flat.Find(1).empty());
  Layers tilted(40, 40);  // nearly a ridge, rising along it: the peak lies 20 pixels away
  AddPeak(&tilted, 20, 20);
  tilted.at(1, 19, 21) = tilted.at(1, 21, 19) = 31800;
  EXPECT_TRUE(tilted.Find(99999).empty());
}

TEST(FindExtrema, KeepsAPeakOneWholeSampleAway) {
  for (const bool mirrored : {false, true}) {
    for (const auto& [tilt, found] : {std::pair{29405, true}, {29406, false}}) {
      Layers layers(40, 40);
      AddPeak(&layers, 20, 20);
      layers.at(1, 19, 20) = 93000;
      layers.at(1, 19, 21) = layers.at(1, 21, 19) = tilt;
      if (mirrored) {
        for (std::vector<int32_t>& memory : layers.memory) std::reverse(memory.begin(), memory.end());
      }
      const auto keypoints = layers.Find(99999);
      ASSERT_EQ(keypoints.size(), found ? 1u : 0u) << tilt;
      EXPECT_TRUE(!found || keypoints[0].x == (mirrored ? 18 : 21) * 256);
    }
  }
}

TEST(FindExtrema, KeepsTheMarginAndTheFirst5999) {
  Layers layers(30, 40);
  for (const int row : {10, 29}) AddPeak(&layers, row, 15);
  AddPeak(&layers, 20, 10);
  AddPeak(&layers, 20, 19);
  EXPECT_TRUE(layers.Find(99999).empty()) << "11 rows and columns on each side are left out";
  AddPeak(&layers, 11, 18);
  EXPECT_EQ(layers.Find(99999).size(), 1u);
  EXPECT_TRUE(Layers(20, 400).Find(1).empty());

  for (const auto& [rows, expected] : {std::pair{59, 5900}, {60, 5999}, {80, 5999}}) {
    Layers dense(430, 3 * rows + 24);
    for (int i = 0; i < rows; ++i) {
      for (int j = 0; j < 100; ++j) AddPeak(&dense, 12 + 3 * i, 14 + 4 * j);
    }
    const auto found = dense.Find(99999);
    ASSERT_EQ(static_cast<int>(found.size()), expected);
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end(),
                               [](const KeyPoint& a, const KeyPoint& b) { return a.y < b.y; }));
  }
}

}  // namespace
}  // namespace zolt
