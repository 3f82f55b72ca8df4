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
    const auto expect_repeated = [&](const uint8_t* padded, const uint8_t* plane, int scale) {
      for (int y = 0; y < to.height / scale; ++y) {
        for (int x = 0; x < to.width / scale; ++x) {
          const int sx = std::min(x, w / scale - 1), sy = std::min(y, h / scale - 1);
          ASSERT_EQ(padded[y * (to.width / scale) + x], plane[sy * (w / scale) + sx])
              << w << " " << x << "," << y;
        }
      }
    };
    expect_repeated(to.y, from.y, 1);
    expect_repeated(to.u, from.u, 2);
    expect_repeated(to.v, from.v, 2);
  }
}

}  // namespace
}  // namespace zolt
