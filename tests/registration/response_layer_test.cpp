#include "registration/response_layer.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/started_pool.h"
#include "support/test_planes.h"

namespace zolt {
namespace {

constexpr int32_t kUnwritten = 0x5A5A5A5A;

/// Pixel sum over rows r0..r1-1 and columns c0..c1-1.
int64_t BoxSum(const std::vector<uint8_t>& pixels, int w, int r0, int c0, int r1, int c1) {
  int64_t sum = 0;
  for (int r = r0; r < r1; ++r) {
    for (int c = c0; c < c1; ++c) sum += pixels[static_cast<size_t>(r) * w + c];
  }
  return sum;
}

struct BoxTable {
  int filter, l, b, c, d, gap;
};
constexpr BoxTable kBoxes[] = {
    {9, 3, 2, 5, 1, 1}, {15, 5, 3, 9, 2, 1}, {21, 7, 5, 11, 2, 3}, {27, 9, 6, 15, 3, 3}};

/// From pixels, without an integral image; `product` receives the exact Dxx Dyy.
int32_t SlowResponse(const std::vector<uint8_t>& pixels, int w, int y, int x, const BoxTable& t,
                     int64_t* product) {
  const auto sum = [&](int r0, int c0, int r1, int c1) {
    return BoxSum(pixels, w, y + r0, x + c0, y + r1, x + c1);
  };
  const int64_t dxx = sum(t.b, 0, t.b + t.c, 3 * t.l) - 3 * sum(t.b, t.l, t.b + t.c, 2 * t.l);
  const int64_t dyy = sum(0, t.b, 3 * t.l, t.b + t.c) - 3 * sum(t.l, t.b, 2 * t.l, t.b + t.c);
  const int p0 = t.d, p1 = t.d + t.l, p2 = p1 + t.gap, p3 = p2 + t.l;
  const int64_t dxy = sum(p0, p0, p1, p1) - sum(p0, p2, p1, p3) - sum(p2, p0, p3, p1) + sum(p2, p2, p3, p3);
  *product = dxx * dyy;
  const int64_t l2 = t.l * t.l, c2 = t.c * t.c;
  const int64_t divisor = (100 * l2 * l2 * l2 * c2) >> 4;
  const int64_t a = ((100 * l2 * l2) << 16) / divisor, b = ((81 * l2 * c2) << 16) / divisor;
  const auto wrapped = [](int64_t v) { return int64_t{static_cast<int32_t>(static_cast<uint32_t>(v))}; };
  return static_cast<int32_t>((wrapped(dxx * dyy) * a >> 16) - (wrapped(dxy * dxy) * b >> 16));
}

/// Computes all four layers and compares them; returns the largest |Dxx Dyy| met.
int64_t ExpectSlowResponses(const std::vector<uint8_t>& pixels, int w, int h) {
  const test::StartedPool started;
  std::vector<uint32_t> sums(static_cast<size_t>(w + 1) * (h + 1));
  const IntegralImage integral = BuildIntegralImage({pixels.data(), w, h}, sums.data());
  for (int r = 0; r <= h; r += 3) {
    for (int c = 0; c <= w; c += 5) EXPECT_EQ(integral.Row(r)[c], BoxSum(pixels, w, 0, 0, r, c));
  }
  int64_t largest = 0;
  for (const BoxTable& t : kBoxes) {
    std::vector<int32_t> responses(static_cast<size_t>(w) * h, kUnwritten);
    ComputeResponses(integral, {responses.data(), t.filter, w, h});
    int wrong = 0;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const int fy = y - t.filter / 2, fx = x - t.filter / 2;
        int32_t expected = kUnwritten;
        if (fy >= 0 && fx >= 0 && fy <= h - t.filter && fx <= w - t.filter) {
          int64_t product = 0;
          expected = SlowResponse(pixels, w, fy, fx, t, &product);
          largest = std::max(largest, product < 0 ? -product : product);
        }
        wrong += responses[static_cast<size_t>(y) * w + x] != expected;
      }
    }
    EXPECT_EQ(wrong, 0) << w << "x" << h << " filter " << t.filter;
  }
  return largest;
}

TEST(ResponseLayer, EqualsTheSumsOverPixels) {
  // Narrower than the filters, as wide as one, and wider than the part of a row that is worked on at once.
  for (const auto& [w, h] :
       {std::pair{8, 30}, {20, 20}, {27, 27}, {30, 28}, {64, 64}, {517, 31}, {31, 130}}) {
    ExpectSlowResponses(test::RandomPlane<uint8_t>(int64_t{w} * h), w, h);
    ExpectSlowResponses(test::RandomPlane<uint8_t>(int64_t{w} * h, 2, 254), w, h);
  }
}

TEST(ResponseLayer, ALargeCrossWrapsTheProduct) {
  constexpr int kSide = 40;
  std::vector<uint8_t> pixels(kSide * kSide, 255);
  for (int y = 0; y < 27; ++y) {
    for (int x = 0; x < 27; ++x) {
      const bool upright = y >= 6 && y < 21 && x >= 9 && x < 18, lying = x >= 6 && x < 21 && y >= 9 && y < 18;
      if (upright || lying) pixels[static_cast<size_t>(y + 5) * kSide + x + 6] = 0;
    }
  }
  EXPECT_GT(ExpectSlowResponses(pixels, kSide, kSide), int64_t{1} << 31);
}

}  // namespace
}  // namespace zolt
