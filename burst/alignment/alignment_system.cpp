#include "burst/alignment/alignment_system.h"

#include <cmath>

namespace zolt {
namespace {

/// What a unit of an unknown moves at (u, v): a factor times u^power in x, another in y.
struct BasisTerm {
  double in_x, in_y;
  int power_x, power_y;
};

void BasisTerms(double v, BasisTerm* terms) {
  const BasisTerm all[kMaxUnknowns] = {{0, 0, 0, 0},   {0, 0, 0, 0},      {1, 0, 0, 0}, {0, 1, 0, 0},
                                       {1, 0, 1, 0},   {v, 0, 0, 0},      {0, 1, 0, 1}, {0, v, 0, 0},
                                       {-1, -v, 2, 1}, {-v, -v * v, 1, 0}};
  for (int i = 0; i < kMaxUnknowns; ++i) terms[i] = all[i];
}

}  // namespace

void NormalEquations::Add(const NormalEquations& other) {
  for (int i = 0; i < kMaxUnknowns; ++i) {
    for (int j = i; j < kMaxUnknowns; ++j) a[i][j] += other.a[i][j];
    b[i] += other.b[i];
  }
}

void RowMoments::Add(const TileTerms& t, double u) {
  double power = 1;
  for (int k = 0; k < 5; ++k) {
    xx_[k] += t.xx * power;
    xy_[k] += t.xy * power;
    yy_[k] += t.yy * power;
    power *= u;
  }
  power = 1;
  for (int k = 0; k < 3; ++k) {
    gx_[0][k] += t.gradient_x * power;
    gy_[0][k] += t.gradient_y * power;
    gx_[1][k] += t.gradient_x * t.tone * power;
    gy_[1][k] += t.gradient_y * t.tone * power;
    x_[k] += t.x * power;
    y_[k] += t.y * power;
    power *= u;
  }
  r_[0] += t.r;
  r_[1] += t.r * t.tone;
  pixels_[0] += t.pixels;
  pixels_[1] += t.pixels * t.tone;
  pixels_[2] += t.pixels * t.tone * t.tone;
}

NormalEquations RowMoments::Equations(double v) const {
  NormalEquations system;
  BasisTerm terms[kMaxUnknowns];
  BasisTerms(v, terms);
  for (int i = 0; i < kBrightnessUnknowns; ++i) {
    system.b[i] = r_[i];
    for (int j = i; j < kBrightnessUnknowns; ++j) system.a[i][j] = pixels_[i + j];
    for (int j = kBrightnessUnknowns; j < kMaxUnknowns; ++j) {
      const BasisTerm& t = terms[j];
      system.a[i][j] = t.in_x * gx_[i][t.power_x] + t.in_y * gy_[i][t.power_y];
    }
  }
  for (int i = kBrightnessUnknowns; i < kMaxUnknowns; ++i) {
    const BasisTerm& s = terms[i];
    system.b[i] = s.in_x * x_[s.power_x] + s.in_y * y_[s.power_y];
    for (int j = i; j < kMaxUnknowns; ++j) {
      const BasisTerm& t = terms[j];
      const double mixed =
          s.in_x * t.in_y * xy_[s.power_x + t.power_y] + s.in_y * t.in_x * xy_[s.power_y + t.power_x];
      system.a[i][j] =
          s.in_x * t.in_x * xx_[s.power_x + t.power_x] + mixed + s.in_y * t.in_y * yy_[s.power_y + t.power_y];
    }
  }
  return system;
}

void MotionBasis(double u, double v, double* in_x, double* in_y) {
  BasisTerm terms[kMaxUnknowns];
  BasisTerms(v, terms);
  const double powers[3] = {1, u, u * u};
  for (int i = 0; i < kMaxUnknowns; ++i) {
    in_x[i] = terms[i].in_x * powers[terms[i].power_x];
    in_y[i] = terms[i].in_y * powers[terms[i].power_y];
  }
}

bool Factorise(NormalEquations* system, int n, double lift) {
  double(*a)[kMaxUnknowns] = system->a;
  for (int i = 0; i < n; ++i) {
    const double given = a[i][i];
    double rest = given + given * lift;
    for (int k = 0; k < i; ++k) rest -= a[k][i] * a[k][i];
    if (!(rest > given * 1e-9) || !(given > 0)) return false;
    a[i][i] = std::sqrt(rest);
    for (int j = i + 1; j < n; ++j) {
      double entry = a[i][j];
      for (int k = 0; k < i; ++k) entry -= a[k][i] * a[k][j];
      a[i][j] = entry / a[i][i];
    }
  }
  return true;
}

void Solve(const NormalEquations& factor, int n, double* rhs) {
  for (int i = 0; i < n; ++i) {
    for (int k = 0; k < i; ++k) rhs[i] -= factor.a[k][i] * rhs[k];
    rhs[i] /= factor.a[i][i];
  }
  for (int i = n - 1; i >= 0; --i) {
    for (int k = i + 1; k < n; ++k) rhs[i] -= factor.a[i][k] * rhs[k];
    rhs[i] /= factor.a[i][i];
  }
}

}  // namespace zolt
