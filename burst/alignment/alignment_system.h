#pragma once

namespace zolt {

/// The unknowns of a step, in this order, so that simpler kinds of motion are the first few: offset and slope
/// of brightness; shift in x and y; the affine terms of x, then of y; perspective. A tile at (u, v), measured
/// from the picture's middle in half of its longer side, moves by
///   (s_x + a u + b v - u (p u + q v), s_y + c u + d v - v (p u + q v)) pixels.
inline constexpr int kBrightnessUnknowns = 2;
inline constexpr int kMaxUnknowns = 10;

/// Normal equations A z = b, the upper triangle of A filled.
struct NormalEquations {
  double a[kMaxUnknowns][kMaxUnknowns] = {};
  double b[kMaxUnknowns] = {};

  void Add(const NormalEquations& other);
};

/// What one tile adds. All with the tile's weight.
struct TileTerms {
  float xx, xy, yy;  ///< squared gradients
  float gradient_x, gradient_y;
  float x, y, r;  ///< gradients times difference; difference
  float pixels;
  float tone;  ///< the tile's own brightness, about -1..1; not weighted
};

/// Sums the tiles of one row of tiles, which share v, by powers of u; then gives their normal equations.
class RowMoments {
 public:
  void Add(const TileTerms& t, double u);
  NormalEquations Equations(double v) const;

 private:
  double xx_[5] = {}, xy_[5] = {}, yy_[5] = {};
  double gx_[2][3] = {}, gy_[2][3] = {};  // once plain, once times tone
  double x_[3] = {}, y_[3] = {};
  double r_[2] = {}, pixels_[3] = {};
};

/// Motion in x and y of a tile at (u, v) for one of each unknown.
void MotionBasis(double u, double v, double* in_x, double* in_y);

/// Cholesky factor of the first n rows and columns, in place of the upper triangle; `lift` times each
/// diagonal entry is added first. False if the matrix is not positive definite.
bool Factorise(NormalEquations* system, int n, double lift);

/// Solves with a factorised matrix: rhs becomes z.
void Solve(const NormalEquations& factor, int n, double* rhs);

}  // namespace zolt
