#include "burst/alignment/alignment_motion.h"

#include <cmath>

namespace zolt {
namespace {

struct Matrix {
  double m[9];
};

Matrix Full(const Homography& motion) {
  const double* h = motion.h;
  return {{h[0], h[1], h[2], h[3], h[4], h[5], h[6], h[7], 1}};
}

Homography Normalised(const Matrix& matrix) {
  Homography motion;
  for (int i = 0; i < 8; ++i) motion.h[i] = matrix.m[i] / matrix.m[8];
  return motion;
}

Matrix Product(const Matrix& a, const Matrix& b) {
  Matrix product;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      product.m[3 * r + c] =
          (a.m[3 * r] * b.m[c] + a.m[3 * r + 1] * b.m[3 + c]) + a.m[3 * r + 2] * b.m[6 + c];
    }
  }
  return product;
}

}  // namespace

Homography Compose(const Homography& outer, const Homography& inner) {
  return Normalised(Product(Full(outer), Full(inner)));
}

Homography Inverse(const Homography& motion) {
  const double* h = motion.h;
  const Matrix adjugate = {{h[4] - h[5] * h[7], h[2] * h[7] - h[1], h[1] * h[5] - h[2] * h[4],
                            h[5] * h[6] - h[3], h[0] - h[2] * h[6], h[2] * h[3] - h[0] * h[5],
                            h[3] * h[7] - h[4] * h[6], h[1] * h[6] - h[0] * h[7], h[0] * h[4] - h[1] * h[3]}};
  return Normalised(adjugate);
}

Homography InSteps(const Homography& motion, double step, double offset_x, double offset_y) {
  const Matrix out = {{1 / step, 0, -offset_x / step, 0, 1 / step, -offset_y / step, 0, 0, 1}};
  const Matrix in = {{step, 0, offset_x, 0, step, offset_y, 0, 0, 1}};
  return Normalised(Product(out, Product(Full(motion), in)));
}

bool IsUsable(const Homography& motion, int width, int height) {
  const double* h = motion.h;
  for (const double entry : motion.h) {
    if (!(std::fabs(entry) < 1e9)) return false;
  }
  if (!(h[0] * h[4] - h[1] * h[3] > 1e-3)) return false;
  const double right = width - 1, bottom = height - 1;
  constexpr double kLeast = 0.1;
  return h[6] * right + 1 > kLeast && h[7] * bottom + 1 > kLeast && h[6] * right + h[7] * bottom + 1 > kLeast;
}

double LargestCornerDistance(const Homography& a, const Homography& b, int width, int height) {
  double largest = 0;
  for (int corner = 0; corner < 4; ++corner) {
    const double x = (corner & 1) * (width - 1.0), y = (corner >> 1) * (height - 1.0);
    double ax, ay, bx, by;
    a.Map(x, y, &ax, &ay);
    b.Map(x, y, &bx, &by);
    const double distance = std::sqrt((ax - bx) * (ax - bx) + (ay - by) * (ay - by));
    if (!(distance <= largest)) largest = distance;
  }
  return largest;
}

}  // namespace zolt
