#include "registration/jacobi_eigen.h"

#include <gtest/gtest.h>

#include <limits>

namespace zolt {
namespace {

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
