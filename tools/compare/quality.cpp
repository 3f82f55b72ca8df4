#include "compare/quality.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "common/parallel.h"

namespace zolt {
namespace {

constexpr int kWindow = 11;

double SquaredError(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  uint64_t sum = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    const int d = int{a[i]} - int{b[i]};
    sum += static_cast<uint64_t>(d * d);
  }
  return static_cast<double>(sum);
}

double Psnr(double squared_error, size_t samples) {
  if (squared_error == 0) return std::numeric_limits<double>::infinity();
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(samples) / squared_error);
}

std::array<float, kWindow> GaussianWindow() {
  std::array<double, kWindow> w{};
  double sum = 0;
  for (int i = 0; i < kWindow; ++i) {
    const double d = i - kWindow / 2;
    w[i] = std::exp(-d * d / (2 * 1.5 * 1.5));
    sum += w[i];
  }
  std::array<float, kWindow> out{};
  for (int i = 0; i < kWindow; ++i) out[i] = static_cast<float>(w[i] / sum);
  return out;
}

// Means, squares and product under the window, one row of windows at a time: columns first, then along the
// row.
class SsimRows {
 public:
  SsimRows(const uint8_t* a, const uint8_t* b, int width)
      : a_(a), b_(b), width_(width), window_(GaussianWindow()) {
    for (auto& c : columns_) c.resize(width);
  }

  // Sum of SSIM over the windows whose upper row is y.
  double Row(int y) {
    for (auto& c : columns_) std::fill(c.begin(), c.end(), 0.0f);
    for (int k = 0; k < kWindow; ++k) AddRow(y + k, window_[k]);
    double sum = 0;
    for (int x = 0; x + kWindow <= width_; ++x) sum += Window(x);
    return sum;
  }

 private:
  void AddRow(int y, float w) {
    const uint8_t* a = a_ + size_t(y) * width_;
    const uint8_t* b = b_ + size_t(y) * width_;
    for (int x = 0; x < width_; ++x) {
      // About mid grey the squares stay small, so float keeps the variance of flat areas exact enough.
      const float p = static_cast<float>(a[x] - 128);
      const float q = static_cast<float>(b[x] - 128);
      columns_[0][x] += w * p;
      columns_[1][x] += w * q;
      columns_[2][x] += w * (p * p);
      columns_[3][x] += w * (q * q);
      columns_[4][x] += w * (p * q);
    }
  }

  double Window(int x) const {
    std::array<double, 5> s{};
    for (size_t c = 0; c < s.size(); ++c) {
      float t = 0;
      for (int k = 0; k < kWindow; ++k) t += window_[k] * columns_[c][x + k];
      s[c] = t;
    }
    const double c1 = 0.01 * 255 * 0.01 * 255;
    const double c2 = 0.03 * 255 * 0.03 * 255;
    const double ma = s[0] + 128;
    const double mb = s[1] + 128;
    const double va = s[2] - s[0] * s[0];
    const double vb = s[3] - s[1] * s[1];
    const double cov = s[4] - s[0] * s[1];
    return ((2 * ma * mb + c1) * (2 * cov + c2)) / ((ma * ma + mb * mb + c1) * (va + vb + c2));
  }

  const uint8_t* a_;
  const uint8_t* b_;
  int width_;
  std::array<float, kWindow> window_;
  std::array<std::vector<float>, 5> columns_;
};

double Ssim(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int width, int height) {
  const int rows = height - kWindow + 1;
  const int cols = width - kWindow + 1;
  if (rows < 1 || cols < 1) return std::numeric_limits<double>::quiet_NaN();
  // Sums are kept per row and added in order, so that the number of threads does not change the last digit.
  std::vector<double> sums(rows);
  const int kBand = 64;
  ParallelFor((rows + kBand - 1) / kBand, [&](int band) {
    SsimRows ssim(a.data(), b.data(), width);
    for (int y = band * kBand; y < std::min(rows, (band + 1) * kBand); ++y) sums[y] = ssim.Row(y);
  });
  double sum = 0;
  for (const double s : sums) sum += s;
  return sum / (static_cast<double>(rows) * cols);
}

void DifferencePlane(std::vector<uint8_t>& out, const std::vector<uint8_t>& a, const std::vector<uint8_t>& b,
                     double gain) {
  for (size_t i = 0; i < out.size(); ++i) {
    const double v = 128.5 + gain * (int{a[i]} - int{b[i]});
    out[i] = static_cast<uint8_t>(std::clamp(v, 0.0, 255.0));
  }
}

// The part of `a` that starts `margin` samples from its left and top.
void CropPlane(std::vector<uint8_t>& out, int out_pitch, const std::vector<uint8_t>& a, int a_pitch,
               int margin) {
  for (size_t row = 0; row * out_pitch < out.size(); ++row) {
    std::copy_n(a.begin() + (row + margin) * a_pitch + margin, out_pitch, out.begin() + row * out_pitch);
  }
}

void JoinPlanes(std::vector<uint8_t>& out, const std::vector<uint8_t>& a, const std::vector<uint8_t>& b,
                int pitch, int taken) {
  for (size_t row = 0; row < a.size(); row += pitch) {
    const auto first = static_cast<ptrdiff_t>(row);
    const size_t to = row / pitch * 2 * taken;
    std::copy(a.begin() + first, a.begin() + first + taken, out.begin() + static_cast<ptrdiff_t>(to));
    std::copy(b.begin() + first, b.begin() + first + taken, out.begin() + static_cast<ptrdiff_t>(to) + taken);
  }
}

}  // namespace

Quality CompareQuality(const YuvPicture& a, const YuvPicture& b) {
  Quality q;
  q.psnr_luma = Psnr(SquaredError(a.y, b.y), a.y.size());
  q.psnr_chroma = Psnr(SquaredError(a.u, b.u) + SquaredError(a.v, b.v), a.u.size() + a.v.size());
  q.ssim_luma = Ssim(a.y, b.y, a.width, a.height);
  q.ssim_chroma = (Ssim(a.u, b.u, a.ChromaWidth(), a.ChromaHeight()) +
                   Ssim(a.v, b.v, a.ChromaWidth(), a.ChromaHeight())) /
                  2;
  return q;
}

YuvPicture DifferencePicture(const YuvPicture& a, const YuvPicture& b, double gain) {
  YuvPicture out(a.width, a.height);
  DifferencePlane(out.y, a.y, b.y, gain);
  DifferencePlane(out.u, a.u, b.u, gain);
  DifferencePlane(out.v, a.v, b.v, gain);
  return out;
}

YuvPicture Inside(const YuvPicture& a, int margin) {
  const int even = margin & ~1;
  YuvPicture out(a.width - 2 * even, a.height - 2 * even);
  CropPlane(out.y, out.width, a.y, a.width, even);
  CropPlane(out.u, out.ChromaWidth(), a.u, a.ChromaWidth(), even / 2);
  CropPlane(out.v, out.ChromaWidth(), a.v, a.ChromaWidth(), even / 2);
  return out;
}

YuvPicture SideBySide(const YuvPicture& a, const YuvPicture& b) {
  const int taken = a.width & ~1;
  YuvPicture out(2 * taken, a.height);
  JoinPlanes(out.y, a.y, b.y, a.width, taken);
  JoinPlanes(out.u, a.u, b.u, a.ChromaWidth(), taken / 2);
  JoinPlanes(out.v, a.v, b.v, a.ChromaWidth(), taken / 2);
  return out;
}

}  // namespace zolt
