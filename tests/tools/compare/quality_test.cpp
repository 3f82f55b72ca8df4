#include "compare/quality.h"

#include <cmath>

#include "tools/support/tool_folder.h"

namespace zolt {
namespace {

// SSIM of Wang et al. by its definition: each window's weighted mean, variance and covariance.
double DirectSsim(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int width, int height) {
  double total = 0;
  int windows = 0;
  for (int y = 5; y < height - 5; ++y) {
    for (int x = 5; x < width - 5; ++x, ++windows) {
      double sum = 0, ma = 0, mb = 0, va = 0, vb = 0, cov = 0;
      const auto each = [&](auto&& use) {
        for (int j = -5; j <= 5; ++j) {
          for (int i = -5; i <= 5; ++i) {
            const size_t at = static_cast<size_t>((y + j) * width + x + i);
            use(std::exp(-(i * i + j * j) / 4.5), double{1} * a[at], double{1} * b[at]);
          }
        }
      };
      each([&](double w, double p, double q) { sum += w, ma += w * p, mb += w * q; });
      ma /= sum, mb /= sum;
      each([&](double w, double p, double q) {
        va += w / sum * (p - ma) * (p - ma);
        vb += w / sum * (q - mb) * (q - mb);
        cov += w / sum * (p - ma) * (q - mb);
      });
      total +=
          (2 * ma * mb + 6.5025) * (2 * cov + 58.5225) / ((ma * ma + mb * mb + 6.5025) * (va + vb + 58.5225));
    }
  }
  return total / windows;
}

TEST(Quality, AgreesWithTheDefinitions) {
  const YuvPicture a = RandomPicture(90, 75, 1);
  YuvPicture b = a;
  for (size_t i = 0; i < b.y.size(); ++i) b.y[i] = static_cast<uint8_t>(b.y[i] + (i % 2 ? 3 : -3));
  for (uint8_t& v : b.u) v = static_cast<uint8_t>(v + 2);
  const Quality q = CompareQuality(a, b);
  EXPECT_NEAR(q.psnr_luma, 10 * std::log10(255.0 * 255.0 / 9), 1e-9);
  EXPECT_NEAR(q.psnr_chroma, 10 * std::log10(255.0 * 255.0 / 2), 1e-9);  // 4 in one of two planes
  EXPECT_NEAR(q.ssim_luma, DirectSsim(a.y, b.y, 90, 75), 1e-4);
  EXPECT_NEAR(q.ssim_chroma, (DirectSsim(a.u, b.u, 45, 38) + 1) / 2, 1e-4);
}

TEST(Quality, EqualAndTinyPictures) {
  const YuvPicture a = RandomPicture(30, 30, 2);
  const Quality same = CompareQuality(a, a);
  EXPECT_TRUE(std::isinf(same.psnr_luma));
  EXPECT_NEAR(same.ssim_luma, 1, 1e-12);
  EXPECT_NEAR(same.ssim_chroma, 1, 1e-12);
  const YuvPicture tiny = RandomPicture(10, 10, 2);
  EXPECT_TRUE(std::isnan(CompareQuality(tiny, tiny).ssim_luma));
}

TEST(Quality, DifferenceAndSideBySidePictures) {
  YuvPicture a(3, 2);
  YuvPicture b(3, 2);
  a.y = {100, 0, 255, 7, 8, 9};
  b.y = {98, 255, 0, 7, 8, 9};
  a.u = {10, 20};
  EXPECT_EQ(DifferencePicture(a, b, 4).y, (std::vector<uint8_t>{136, 0, 255, 128, 128, 128}));
  const YuvPicture both = SideBySide(a, b);
  EXPECT_EQ(both.y, (std::vector<uint8_t>{100, 0, 98, 255, 7, 8, 7, 8}));
  EXPECT_EQ(both.u, (std::vector<uint8_t>{10, 0}));
}

}  // namespace
}  // namespace zolt
