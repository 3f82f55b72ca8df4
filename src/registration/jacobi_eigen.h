#pragma once

#include <cstdint>

namespace zolt {

/// Side of the normal matrix of a homography.
inline constexpr int kEigenSide = 9;
using EigenMatrix = float[kEigenSide][kEigenSide];

/// Eigenvalues in descending order and the matching eigenvectors, one a row, of a symmetric 9 x 9 matrix
/// whose upper triangle is given and overwritten. Jacobi's method with the largest off-diagonal entry as
/// pivot, found through kept row and column maxima; stops at the machine epsilon or after 81 * limit
/// rotations with the best estimate so far. 0 always.
int32_t JacobiEigen(EigenMatrix& matrix, float* eigenvalues, EigenMatrix& eigenvectors, int32_t limit);

}  // namespace zolt
