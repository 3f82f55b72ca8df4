#pragma once

namespace zolt {

inline constexpr int kBlockSide = 8;
inline constexpr int kBlockSize = kBlockSide * kBlockSide;

/// Orthonormal two-dimensional cosine transform of 8 x 8 values (DCT-II), row by row in `block`; the
/// coefficients come transposed: that of frequency u along the rows and v down the columns at 8 u + v. In
/// single precision and a fixed order, the same on every processor.
void TransformBlock(const float* block, float* coefficients);

/// The inverse, from transposed coefficients to rows.
void RestoreBlock(const float* coefficients, float* block);

}  // namespace zolt
