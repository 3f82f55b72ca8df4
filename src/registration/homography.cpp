#include "registration/homography.h"

#include <cmath>
#include <limits>

#include "base/arithmetic.h"
#include "registration/jacobi_eigen.h"

namespace zolt {
namespace {

using Matrix3 = float[3][3];

/// Shift and scale of one side's axes. Means and deviations are plain f32 sums in list order.
struct Normalisation {
  Point mean;
  Point spread;  ///< sums of the distances from the mean
  Point scale;

  Normalisation(const Point* points, int32_t n) {
    const auto count = static_cast<float>(n);
    float sum_x = 0, sum_y = 0;
    for (int32_t i = 0; i < n; ++i) {
      sum_x += points[i].x;
      sum_y += points[i].y;
    }
    mean = {sum_x / count, sum_y / count};
    spread = {0, 0};
    for (int32_t i = 0; i < n; ++i) {
      spread.x += std::fabs(points[i].x - mean.x);
      spread.y += std::fabs(points[i].y - mean.y);
    }
    scale = {count / spread.x, count / spread.y};
  }

  bool flat() const {
    constexpr float kLeast = std::numeric_limits<float>::epsilon();
    return std::fabs(spread.x) < kLeast || std::fabs(spread.y) < kLeast;
  }
};

/// Adds both equations of every pair to the upper triangle of the normal matrix.
void AccumulateNormalMatrix(const Point* source, const Normalisation& from, const Point* destination,
                            const Normalisation& to, int32_t n, EigenMatrix& matrix) {
  for (int32_t i = 0; i < n; ++i) {
    const float a = (source[i].x - from.mean.x) * from.scale.x;
    const float b = (source[i].y - from.mean.y) * from.scale.y;
    const float c = -(destination[i].x - to.mean.x) * to.scale.x;
    const float e = -(destination[i].y - to.mean.y) * to.scale.y;
    const float r1[kEigenSide] = {a, b, 1, 0, 0, 0, c * a, c * b, c};
    const float r2[kEigenSide] = {0, 0, 0, a, b, 1, e * a, e * b, e};
    for (int j = 0; j < kEigenSide; ++j) {
      for (int k = j; k < kEigenSide; ++k) matrix[j][k] += r1[j] * r1[k] + r2[j] * r2[k];
    }
  }
}

void Multiply(const Matrix3& p, const Matrix3& q, Matrix3& out) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) out[i][j] = (p[i][0] * q[0][j] + p[i][1] * q[1][j]) + p[i][2] * q[2][j];
  }
}

/// From normalised coordinates back to pixels; the last entry becomes 1.
void Denormalise(const float* eigenvector, const Normalisation& from, const Normalisation& to, float* model) {
  const Matrix3 to_pixels = {{1 / to.scale.x, 0, to.mean.x}, {0, 1 / to.scale.y, to.mean.y}, {0, 0, 1}};
  const Matrix3 from_pixels = {{from.scale.x, 0, -from.mean.x * from.scale.x},
                               {0, from.scale.y, -from.mean.y * from.scale.y},
                               {0, 0, 1}};
  Matrix3 normalised, half_way, pixels;
  for (int i = 0; i < kEigenSide; ++i) normalised[i / 3][i % 3] = eigenvector[i];
  Multiply(to_pixels, normalised, half_way);
  Multiply(half_way, from_pixels, pixels);
  const float reciprocal = 1 / pixels[2][2];
  for (int i = 0; i < kEigenSide - 1; ++i) model[i] = pixels[i / 3][i % 3] * reciprocal;
  model[kEigenSide - 1] = 1;
}

/// Whether point k and two others span more than a sliver. In f64, where whole-pixel differences and their
/// products are exact and nothing can overflow.
bool SpansTriangle(Point pi, Point pj, Point pk) {
  const double d1x = TruncateToI32(pi.x - pk.x), d1y = TruncateToI32(pi.y - pk.y);
  const double d2x = TruncateToI32(pj.x - pk.x), d2y = TruncateToI32(pj.y - pk.y);
  const double extents = std::fabs(d1x) + std::fabs(d1y) + std::fabs(d2x) + std::fabs(d2y);
  return std::fabs(d1x * d2y - d1y * d2x) > 0.1 * extents;
}

}  // namespace

int32_t SolveHomography(const Point* source, const Point* destination, int32_t n, float* model,
                        int32_t jacobi_limit) {
  const Normalisation from(source, n), to(destination, n);
  if (from.flat() || to.flat()) return 0;
  EigenMatrix matrix = {};
  AccumulateNormalMatrix(source, from, destination, to, n, matrix);
  float eigenvalues[kEigenSide];
  EigenMatrix eigenvectors;
  JacobiEigen(matrix, eigenvalues, eigenvectors, jacobi_limit);
  Denormalise(eigenvectors[kEigenSide - 1], from, to, model);
  return 0;
}

bool CheckCollinear(const Point* points) {
  for (int k = 2; k < 4; ++k) {
    for (int j = 1; j < k; ++j) {
      for (int i = 0; i < j; ++i) {
        if (!SpansTriangle(points[i], points[j], points[k])) return false;
      }
    }
  }
  return true;
}

}  // namespace zolt
