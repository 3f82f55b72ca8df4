#include "burst/picture/rgb_rows.h"

#include <gtest/gtest.h>

#include <tuple>

#include "support/test_planes.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

/// Results of all four directions for a row of n pixels and one below it, `step` bytes apart.
struct Converted {
  Bytes y, u, v, half_u, half_v, rgb;
};

Converted Convert(int n, int step, bool blue_first) {
  const Bytes planes = test::RandomPlane<uint8_t>(6 * n);
  const ptrdiff_t offset = step == 1 ? n : 1, end = step == 1 ? 3 * n : static_cast<ptrdiff_t>(step) * n;
  const ptrdiff_t at[3] = {blue_first ? 2 * offset : 0, offset, blue_first ? 0 : 2 * offset};
  Bytes pixels[2] = {Bytes(static_cast<size_t>(end)), Bytes(static_cast<size_t>(end))};
  for (int i = 0; i < 6 * n; ++i) {
    const int row = i / (3 * n), c = i / n % 3, x = i % n;
    pixels[row][static_cast<size_t>(at[c] + static_cast<ptrdiff_t>(x) * step)] =
        planes[static_cast<size_t>(i)];
  }
  const auto row = [&](const Bytes& p) {
    return RgbRow{p.data() + at[0], p.data() + at[1], p.data() + at[2], step};
  };
  const auto size = static_cast<size_t>(n), half = static_cast<size_t>((n + 1) / 2);
  Converted to = {Bytes(size), Bytes(size), Bytes(size), Bytes(half), Bytes(half), Bytes(3 * size)};
  LumaRow(row(pixels[0]), to.y.data(), n);
  ChromaRow(row(pixels[0]), to.u.data(), to.v.data(), n);
  HalfChromaRow(row(pixels[0]), row(pixels[1]), n, to.half_u.data(), to.half_v.data(), (n + 1) / 2);
  Bytes out(static_cast<size_t>(end), 0xA5);
  WriteRgbRow(planes.data(), planes.data() + n, planes.data() + 2 * n,
              {out.data() + at[0], out.data() + at[1], out.data() + at[2], step}, n);
  // Where four bytes are a pixel, the last is not the picture's.
  for (size_t i = 3; step == 4 && i < out.size(); i += 4) EXPECT_EQ(out[i], 0xA5);
  for (int i = 0; i < 3 * n; ++i)
    to.rgb[static_cast<size_t>(i)] = out[static_cast<size_t>(at[i / n] + i % n * step)];
  return to;
}

// Five bytes a pixel are converted one by one; what is taken apart for vectors must give the same, across the
// chunks' ends and for an odd pixel left over. The blocks have exact sizes: the address sanitizer sees what
// is read behind them.
TEST(RgbRows, AnyLayoutGivesTheSame) {
  for (const int n : {16, 255, 256, 257, 530}) {
    const Converted one_by_one = Convert(n, 5, false);
    for (const auto& [step, blue_first] :
         {std::tuple(1, false), {1, true}, {3, false}, {3, true}, {4, false}, {4, true}}) {
      SCOPED_TRACE(testing::Message() << n << " pixels, step " << step << (blue_first ? ", BGR" : ", RGB"));
      const Converted other = Convert(n, step, blue_first);
      EXPECT_EQ(other.y, one_by_one.y);
      EXPECT_EQ(other.u, one_by_one.u);
      EXPECT_EQ(other.v, one_by_one.v);
      EXPECT_EQ(other.half_u, one_by_one.half_u);
      EXPECT_EQ(other.half_v, one_by_one.half_v);
      EXPECT_EQ(other.rgb, one_by_one.rgb);
    }
  }
}

}  // namespace
}  // namespace zolt
