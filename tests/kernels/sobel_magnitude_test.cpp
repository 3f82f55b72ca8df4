#include "kernels/sobel_magnitude.h"

#include <gtest/gtest.h>

#include "support/slow_planes.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(SobelMagnitude, MeetsTheOperatorAndClearsTheFrame) {
  for (const auto& [w, h] : {std::pair{1, 1}, {2, 5}, {5, 2}, {3, 3}, {17, 9}, {64, 33}}) {
    const int source_pitch = w + 3, pitch = w + 1;
    for (const uint32_t bound : {256u, 60u}) {
      const auto source = test::RandomPlane<uint8_t>(source_pitch * (h - 1) + w, bound);
      std::vector<uint8_t> out(static_cast<size_t>(pitch) * h, 77);
      SobelMagnitude(source.data(), out.data(), w, h, source_pitch, pitch);
      test::Plane packed(w, h);
      for (int i = 0; i < w * h; ++i) packed.v[i] = source[i / w * source_pitch + i % w];
      const std::vector<int> slow = test::Sobel(packed).v;
      for (int i = 0; i < pitch * h; ++i) {
        ASSERT_EQ(out[i], i % pitch < w ? slow[i / pitch * w + i % pitch] : 77) << w << "x" << h << " " << i;
      }
    }
  }
}

}  // namespace
}  // namespace zolt
