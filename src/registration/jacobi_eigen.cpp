#include "registration/jacobi_eigen.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace zolt {
namespace {

constexpr int kSide = kEigenSide;

/// (f32) of the f64 root: the squares of two f32 are exact in f64 and can't overflow.
float Hypotenuse(float a, float b) {
  const double x = a, y = b;
  return static_cast<float>(std::sqrt(x * x + y * y));
}

/// Where the largest magnitude of each row right of the diagonal, and of each column above it, was when that
/// row or column was last looked at. Rotations change other rows too; those keep their place until they
/// are rotated themselves.
struct KeptMaxima {
  int column_of_row[kSide];
  int row_of_column[kSide];

  void LookAt(const EigenMatrix& a, int index) {
    if (index < kSide - 1) {
      int best = index + 1;
      for (int j = index + 2; j < kSide; ++j) {
        if (std::fabs(a[index][j]) > std::fabs(a[index][best])) best = j;
      }
      column_of_row[index] = best;
    }
    if (index > 0) {
      int best = 0;
      for (int i = 1; i < index; ++i) {
        if (std::fabs(a[i][index]) > std::fabs(a[best][index])) best = i;
      }
      row_of_column[index] = best;
    }
  }
};

struct Pivot {
  int k, l;  ///< k < l
};

Pivot FindPivot(const EigenMatrix& a, const KeptMaxima& kept) {
  Pivot pivot = {0, kept.column_of_row[0]};
  float largest = std::fabs(a[pivot.k][pivot.l]);
  const auto consider = [&](int k, int l) {
    const float magnitude = std::fabs(a[k][l]);
    if (magnitude > largest) {
      largest = magnitude;
      pivot = {k, l};
    }
  };
  for (int i = 1; i < kSide - 1; ++i) consider(i, kept.column_of_row[i]);
  for (int j = 1; j < kSide; ++j) consider(kept.row_of_column[j], j);
  return pivot;
}

/// A plane rotation by the angle whose cosine and sine are c and s.
struct Rotation {
  float c, s;
  void Apply(float* v0, float* v1) const {
    const float a = *v0, b = *v1;
    *v0 = a * c - b * s;
    *v1 = a * s + b * c;
  }
};

void Rotate(const Rotation& rotation, Pivot pivot, EigenMatrix& a, EigenMatrix& vectors) {
  const auto [k, l] = pivot;
  for (int i = 0; i < k; ++i) rotation.Apply(&a[i][k], &a[i][l]);
  for (int i = k + 1; i < l; ++i) rotation.Apply(&a[k][i], &a[i][l]);
  for (int i = l + 1; i < kSide; ++i) rotation.Apply(&a[k][i], &a[l][i]);
  for (int i = 0; i < kSide; ++i) rotation.Apply(&vectors[k][i], &vectors[l][i]);
}

void SortDescending(float* values, EigenMatrix& vectors) {
  for (int k = 0; k < kSide - 1; ++k) {
    int largest = k;
    for (int i = k + 1; i < kSide; ++i) {
      if (values[i] > values[largest]) largest = i;
    }
    if (largest == k) continue;
    std::swap(values[k], values[largest]);
    std::swap_ranges(vectors[k], vectors[k] + kSide, vectors[largest]);
  }
}

}  // namespace

int32_t JacobiEigen(EigenMatrix& matrix, float* eigenvalues, EigenMatrix& eigenvectors, int32_t limit) {
  KeptMaxima kept = {};
  for (int i = 0; i < kSide; ++i) {
    for (int j = 0; j < kSide; ++j) eigenvectors[i][j] = i == j ? 1.0f : 0.0f;
    eigenvalues[i] = matrix[i][i];
    kept.LookAt(matrix, i);
  }
  for (int32_t rotations = 0; rotations < kSide * kSide * limit; ++rotations) {
    const Pivot pivot = FindPivot(matrix, kept);
    const auto [k, l] = pivot;
    const float p = matrix[k][l];
    if (std::fabs(p) <= std::numeric_limits<float>::epsilon()) break;
    const float y = (eigenvalues[l] - eigenvalues[k]) * 0.5f;
    float t = std::fabs(y) + Hypotenuse(p, y);
    float s = Hypotenuse(p, t);
    const float c = t / s;
    s = p / s;
    t = (p / t) * p;
    if (y < 0) {
      s = -s;
      t = -t;
    }
    matrix[k][l] = 0;
    eigenvalues[k] -= t;
    eigenvalues[l] += t;
    Rotate({c, s}, pivot, matrix, eigenvectors);
    kept.LookAt(matrix, k);
    kept.LookAt(matrix, l);
  }
  SortDescending(eigenvalues, eigenvectors);
  return 0;
}

}  // namespace zolt
