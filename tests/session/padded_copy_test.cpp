#include "session/padded_copy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

// The reflecting form is part of what the slow burst repeats.
TEST(PaddedCopy, TheExtendedFormRepeatsTheLastColumnAndRow) {
  for (const auto& [w, h] : {std::pair{264, 256}, {256, 264}, {264, 280}, {72, 88}}) {
    test::Frame frame(w, h);
    frame.bytes = test::RandomPlane<uint8_t>(int64_t{w} * h * 3 / 2);
    std::vector<uint8_t> block(PaddedCopySize(w, h));
    ASSERT_EQ(block.size(), static_cast<size_t>((w + 15) / 16 * 16 * ((h + 15) / 16 * 16) * 5 / 2));
    const YuvImage from = frame.image(), to = MakeExtendedCopy(block.data(), from);
    for (int y = 0; y < to.height; ++y) {
      for (int x = 0; x < to.width; ++x) {
        const int sx = std::min(x, w - 1), sy = std::min(y, h - 1);
        ASSERT_EQ(to.y[y * to.width + x], from.y[sy * w + sx]) << w << " " << x << "," << y;
        ASSERT_EQ(to.u[y / 2 * (to.width / 2) + x / 2], from.u[sy / 2 * (w / 2) + sx / 2]);
        ASSERT_EQ(to.v[y / 2 * (to.width / 2) + x / 2], from.v[sy / 2 * (w / 2) + sx / 2]);
      }
    }
  }
}

}  // namespace
}  // namespace zolt
