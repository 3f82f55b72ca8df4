#include "session/padded_copy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "session/chroma_repair.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(PaddedCopy, ReflectsRowsAndRepeatsTheLast) {
  for (const auto& [w, h] : {std::pair{264, 256}, {256, 264}, {264, 272}, {264, 264}, {72, 88}, {256, 256}}) {
    SCOPED_TRACE(testing::Message() << w << "x" << h);
    test::Frame frame(w, h);
    frame.bytes = test::RandomPlane<uint8_t>(static_cast<int64_t>(frame.bytes.size()));
    const Bytes weights = test::RandomPlane<uint8_t>(int64_t{w} * h, 250, 1);
    const int pw = (w + 15) / 16 * 16, ph = (h + 15) / 16 * 16;
    Bytes block(PaddedCopySize(w, h), 0xEE);
    ASSERT_EQ(block.size(), static_cast<size_t>(pw * ph * 5 / 2));
    const PaddedCopy copy = MakePaddedCopy(block.data(), frame.image(), weights.data());
    EXPECT_EQ(copy.image.width, pw);
    EXPECT_EQ(copy.image.height, ph);
    EXPECT_EQ(copy.image.pitch, pw);
    EXPECT_EQ(copy.weights + pw * ph, block.data() + block.size());

    const auto check = [](const uint8_t* padded, int columns, int rows, const uint8_t* plane, int width,
                          int height, bool reflect) {
      for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < columns; ++x) {
          const int sy = std::min(y, height - 1);
          const int sx = x < width ? x : reflect ? 2 * width - 1 - x : -1;
          ASSERT_EQ(padded[y * columns + x], sx < 0 ? 0 : plane[sy * width + sx]) << x << "," << y;
        }
      }
    };
    const YuvImage image = frame.image();
    check(copy.image.y, pw, ph, image.y, w, h, true);
    check(copy.image.u, pw / 2, ph / 2, image.u, w / 2, h / 2, true);
    check(copy.image.v, pw / 2, ph / 2, image.v, w / 2, h / 2, true);
    check(copy.weights, pw, ph, weights.data(), w, h, false);

    test::Frame back(w, h, 1, 1);
    CropTo(back.image(), copy.image);
    EXPECT_EQ(back.bytes, frame.bytes);
    const YuvImage extended = MakeExtendedCopy(block.data(), image);
    for (int y = 0; y < ph; ++y) {
      for (int x = 0; x < pw; ++x) {
        ASSERT_EQ(extended.y[y * pw + x], image.y[std::min(y, h - 1) * w + std::min(x, w - 1)]);
      }
    }
    EXPECT_EQ(extended.v[pw * ph / 4 - 1], image.v[w * h / 4 - 1]);
  }
}

TEST(ChromaRepair, OldChromaComesBackWithNearWhiteLuma) {
  // The curve has 17 knots, 16 levels apart: all zero but the last, which is 128.
  int knots[17] = {};
  knots[16] = 128;
  for (int i = 0; i < 256; ++i) {
    const int k = i >> 4;
    ASSERT_EQ(RestoreShare(static_cast<uint8_t>(i)),
              knots[k] + (((knots[k + 1] - knots[k]) * (1 + i - 16 * k)) >> 4));
  }
  test::Frame frame(72, 64);
  frame.bytes = test::RandomPlane<uint8_t>(72 * 64 * 3 / 2);
  for (size_t i = 0; i < 72 * 64; ++i) frame.bytes[i] = static_cast<uint8_t>(232 + frame.bytes[i] % 24);
  const Bytes before = frame.bytes;
  const Bytes snapshot = test::RandomPlane<uint8_t>(72 * 64 / 2, 200);
  RepairHighlightChroma(frame.image(), snapshot.data());
  for (int y = 0; y < 64; ++y) {  // 32 rows of U, then 32 of V
    for (int x = 0; x < 36; ++x) {
      const auto i = static_cast<size_t>(y * 36 + x);
      const int a = RestoreShare(before[static_cast<size_t>(2 * (y % 32) * 72 + 2 * x)]);
      ASSERT_EQ(frame.bytes[72 * 64 + i], (a * snapshot[i] + (128 - a) * before[72 * 64 + i]) >> 7);
    }
  }
}

}  // namespace
}  // namespace zolt
