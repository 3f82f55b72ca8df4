#include "kernels/blur121.h"

#include <gtest/gtest.h>

#include "support/slow_planes.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(Blur121, EqualsItsDefinitionInPlaceAndWithPitches) {
  for (const auto& [w, h] : {std::pair{2, 2}, {3, 5}, {16, 4}, {17, 3}, {70, 33}, {131, 20}}) {
    const std::vector<uint8_t> source = test::RandomPlane<uint8_t>(w * h);
    const std::vector<int> slow = test::Blur(test::Plane(source.data(), w, h)).v;
    const std::vector<uint8_t> expected(slow.begin(), slow.end());
    std::vector<uint8_t> temporary(source.size()), in_place = source;
    Blur121(in_place.data(), in_place.data(), temporary.data(), w, h, w, w, w);
    EXPECT_EQ(in_place, expected) << w << "x" << h;

    // Rows apart by more than w, the last one without its gap: what lies between is not touched.
    const int pitch = w + 3;
    std::vector<uint8_t> wide_source(pitch * (h - 1) + w), wide_out(wide_source.size(), 0xEE);
    for (int i = 0; i < w * h; ++i) wide_source[i / w * pitch + i % w] = source[i];
    Blur121(wide_source.data(), wide_out.data(), temporary.data(), w, h, pitch, pitch, w);
    for (size_t i = 0; i < wide_out.size(); ++i) {
      const size_t x = i % pitch;
      ASSERT_EQ(wide_out[i], x < static_cast<size_t>(w) ? expected[i / pitch * w + x] : 0xEE);
    }
  }
}

}  // namespace
}  // namespace zolt
