#include "registration/jacobi_eigen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "base/random.h"

namespace zolt {
namespace {

TEST(JacobiEigen, SolvesRandomSymmetricMatrices) {
  MultiplyWithCarry random;
  for (int round = 0; round < 50; ++round) {
    EigenMatrix a, work, vectors;
    for (int i = 0; i < kEigenSide; ++i) {
      for (int j = i; j < kEigenSide; ++j)
        a[i][j] = a[j][i] = static_cast<float>(random.Next(2001)) / 100 - 10;
    }
    std::memcpy(work, a, sizeof a);
    float values[kEigenSide];
    EXPECT_EQ(JacobiEigen(work, values, vectors, 30), 0);
    for (int k = 0; k < kEigenSide; ++k) {
      EXPECT_GE(values[k > 0 ? k - 1 : 0], values[k]);
      double length2 = 0;
      for (int i = 0; i < kEigenSide; ++i) {
        double product = 0;
        for (int j = 0; j < kEigenSide; ++j) product += static_cast<double>(a[i][j]) * vectors[k][j];
        EXPECT_NEAR(product, static_cast<double>(values[k]) * vectors[k][i], 1e-3);
        length2 += static_cast<double>(vectors[k][i]) * vectors[k][i];
      }
      EXPECT_NEAR(length2, 1, 1e-4);
    }
  }
}

TEST(JacobiEigen, SortsADiagonalWithItsVectorsAndStopsAtTheLimit) {
  for (const int32_t limit : {0, 2}) {
    EigenMatrix a = {}, vectors;
    for (int i = 0; i < kEigenSide; ++i) a[i][i] = static_cast<float>((i * 4) % 9);
    a[0][1] = limit == 0 ? 3.0f : 0.0f;  // nothing may be rotated at limit 0
    float values[kEigenSide];
    JacobiEigen(a, values, vectors, limit);
    for (int k = 0; k < kEigenSide; ++k) {
      EXPECT_EQ(values[k], static_cast<float>(8 - k));
      for (int i = 0; i < kEigenSide; ++i) EXPECT_EQ(vectors[k][i], (i * 4) % 9 == 8 - k ? 1 : 0);
    }
  }
}

TEST(JacobiEigen, EndsOnNotANumberAndInfinity) {
  for (const float v : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    for (int where = 0; where < kEigenSide; ++where) {
      EigenMatrix a = {}, vectors;
      a[where / 2][where] = v;
      a[3][7] = 2;
      float values[kEigenSide];
      EXPECT_EQ(JacobiEigen(a, values, vectors, 30), 0);
    }
  }
}

}  // namespace
}  // namespace zolt
