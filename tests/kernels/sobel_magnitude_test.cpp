#include "kernels/sobel_magnitude.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

int Slow(const std::vector<uint8_t>& p, int pitch, int x, int y) {
  const int weights[3] = {1, 2, 1};
  int gx = 0, gy = 0;
  for (int i = -1; i <= 1; ++i) {
    for (int j = -1; j <= 1; ++j) {
      const int v = p[static_cast<size_t>((y + i) * pitch + x + j)];
      gx += v * j * weights[i + 1];
      gy += v * i * weights[j + 1];
    }
  }
  return std::min(std::abs(gx) + std::abs(gy), 255);
}

TEST(SobelMagnitude, MeetsTheOperatorAndClearsTheFrame) {
  for (const auto& [w, h] : {std::pair{1, 1}, {2, 5}, {5, 2}, {3, 3}, {17, 9}, {64, 33}}) {
    const int source_pitch = w + 3, pitch = w + 1;
    const int64_t read = static_cast<int64_t>(source_pitch) * (h - 1) + w;
    for (const uint32_t bound : {256u, 20u}) {
      std::vector<uint8_t> source = test::RandomPlane<uint8_t>(read, bound);
      if (bound == 256) {
        for (uint8_t& v : source) v = v < 128 ? 0 : 255;  // hard edges: sums far above 255
      }
      std::vector<uint8_t> out(static_cast<size_t>(pitch) * h, 77);
      SobelMagnitude(source.data(), out.data(), w, h, source_pitch, pitch);
      for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
          const bool frame = x == 0 || y == 0 || x == w - 1 || y == h - 1;
          ASSERT_EQ(out[static_cast<size_t>(y * pitch + x)], frame ? 0 : Slow(source, source_pitch, x, y));
        }
        ASSERT_EQ(out[static_cast<size_t>(y * pitch + w)], 77);
      }
    }
  }
}

}  // namespace
}  // namespace zolt
