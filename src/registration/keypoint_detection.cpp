#include "registration/keypoint_detection.h"

#include <algorithm>
#include <cstdint>

#include "base/arithmetic.h"
#include "base/vector_clones.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

/// The 3 x 3 x 3 responses around a candidate: at[layer][row][column].
struct Neighbourhood {
  int32_t at[3][3][3];
};

Neighbourhood Around(const ResponseLayer* const layers[3], int32_t row, int32_t column) {
  Neighbourhood n;
  for (int32_t k = 0; k < 3; ++k) {
    for (int32_t i = 0; i < 3; ++i) {
      const int32_t* responses = layers[k]->Row(row + i - 1) + column - 1;
      for (int32_t j = 0; j < 3; ++j) n.at[k][i][j] = responses[j];
    }
  }
  return n;
}

bool IsStrictMaximum(const Neighbourhood& n) {
  const int32_t centre = n.at[1][1][1];
  int32_t not_below = 0;
  for (const auto& layer : n.at) {
    for (const auto& row : layer) {
      for (const int32_t v : row) not_below += v >= centre;
    }
  }
  return not_below == 1;  // itself
}

/// Determinant modulo 2^64 of a matrix given by its columns; its terms reach 2^72 on extreme responses.
uint64_t Determinant(const int32_t* a, const int32_t* b, const int32_t* c) {
  const auto wide = [](int32_t v) { return static_cast<uint64_t>(int64_t{v}); };
  return wide(a[0]) * (wide(b[1]) * wide(c[2]) - wide(b[2]) * wide(c[1])) -
         wide(b[0]) * (wide(a[1]) * wide(c[2]) - wide(a[2]) * wide(c[1])) +
         wide(c[0]) * (wide(a[1]) * wide(b[2]) - wide(a[2]) * wide(b[1]));
}

/// Peak of the parabola through the neighbourhood, relative to its centre, Q8: x, y, scale. False if there is
/// none within a whole sample.
bool InterpolatePeak(const Neighbourhood& n, int32_t offset[3]) {
  const auto &u = n.at[0], &m = n.at[1], &v = n.at[2];
  const int32_t dxx = m[1][2] + m[1][0] - 2 * m[1][1];
  const int32_t dyy = m[2][1] + m[0][1] - 2 * m[1][1];
  const int32_t dss = v[1][1] + u[1][1] - 2 * m[1][1];
  const int32_t dxy = (m[2][2] - m[2][0] - m[0][2] + m[0][0]) / 4;
  const int32_t dxs = (v[1][2] - v[1][0] - u[1][2] + u[1][0]) / 4;
  const int32_t dys = (v[2][1] - v[0][1] - u[2][1] + u[0][1]) / 4;
  const int32_t gradient[3] = {(m[1][0] - m[1][2]) / 2, (m[0][1] - m[2][1]) / 2, (u[1][1] - v[1][1]) / 2};
  const int32_t x[3] = {dxx, dxy, dxs}, y[3] = {dxy, dyy, dys}, s[3] = {dxs, dys, dss};

  const int64_t divisor = static_cast<int64_t>(Determinant(x, y, s)) >> 8;
  if (divisor == 0) return false;
  const uint64_t numerators[3] = {Determinant(gradient, y, s), Determinant(x, gradient, s),
                                  Determinant(x, y, gradient)};
  for (int32_t i = 0; i < 3; ++i) {
    // Dividing the smallest 64-bit integer by -1 would trap.
    const int64_t quotient = divisor == -1 ? static_cast<int64_t>(0 - numerators[i])
                                           : static_cast<int64_t>(numerators[i]) / divisor;
    if (quotient < -256 || quotient > 256) return false;
    offset[i] = static_cast<int32_t>(quotient);
  }
  return true;
}

/// A part of a row whose marks stay in the first-level cache.
constexpr int32_t kChunk = 512;

/// Marks what may be a maximum: above the threshold and above its four neighbours in the row and column.
/// Takes vectors, and leaves one position in a hundred or less to look at closely.
void MarkPeaks(const int32_t* above, const int32_t* row, const int32_t* below, int32_t threshold, int32_t n,
               int32_t* __restrict marks) {
  for (int32_t i = 0; i < n; ++i) {
    const int32_t beside = row[i - 1] > row[i + 1] ? row[i - 1] : row[i + 1];
    const int32_t stacked = above[i] > below[i] ? above[i] : below[i];
    const int32_t highest = beside > stacked ? beside : stacked;
    marks[i] = row[i] > (highest > threshold ? highest : threshold);
  }
}

/// The keypoint at a position, if it is a maximum of all 27 and its peak can be interpolated.
bool MakeKeypoint(const ResponseLayer* const layers[3], int32_t row, int32_t column, KeyPoint* keypoint) {
  const Neighbourhood neighbourhood = Around(layers, row, column);
  int32_t offset[3];
  if (!IsStrictMaximum(neighbourhood) || !InterpolatePeak(neighbourhood, offset)) return false;
  const int32_t filter = layers[1]->filter;
  *keypoint = {};
  keypoint->x = ((filter - 1) << 7) + (column - filter / 2) * 256 + offset[0];
  keypoint->y = ((filter - 1) << 7) + (row - filter / 2) * 256 + offset[1];
  keypoint->scale = filter + (((filter - layers[0]->filter) * offset[2] + 32) >> 8);
  return true;
}

}  // namespace

ZOLT_VECTOR_CLONES int32_t FindExtrema(const ResponseLayer& lower, const ResponseLayer& middle,
                                       const ResponseLayer& upper, int32_t threshold, KeyPoint* candidates) {
  const ResponseLayer* const layers[3] = {&lower, &middle, &upper};
  const int32_t margin = upper.filter / 2 + 1;
  const int32_t end = middle.width - margin;
  int32_t marks[kChunk];
  int32_t count = 0;
  for (int32_t row = margin; row < middle.height - margin; ++row) {
    const int32_t *above = middle.Row(row - 1), *here = middle.Row(row), *below = middle.Row(row + 1);
    for (int32_t first = margin; first < end; first += kChunk) {
      const int32_t n = std::min(kChunk, end - first);
      MarkPeaks(above + first, here + first, below + first, threshold, n, marks);
      for (int32_t i = 0; i < n; ++i) {
        if (marks[i] == 0 || !MakeKeypoint(layers, row, first + i, candidates + count)) continue;
        if (++count == kKeypointCapacity) return kMaxKeypoints;
      }
    }
  }
  return count;
}

int32_t DetectKeypoints(const IntegralImage& integral, float hessian_threshold,
                        const DetectionBuffers& buffers, KeyPoint* keypoints) {
  ResponseLayer layers[kLayerCount];
  for (int32_t i = 0; i < kLayerCount; ++i) {
    layers[i] = {buffers.responses[i], kFilterSizes[i], integral.width - 1, integral.height - 1};
  }
  RunOnPool(
      RegistrationPool(), [&](int32_t i) { ComputeResponses(integral, layers[i]); }, kLayerCount);

  const int32_t threshold = TruncateToI32(hessian_threshold * 16.0f + 0.5f);
  int32_t found[2];
  RunOnPool(
      RegistrationPool(),
      [&](int32_t i) {
        found[i] = FindExtrema(layers[i], layers[i + 1], layers[i + 2], threshold, buffers.candidates[i]);
      },
      2);

  int32_t total = 0;
  for (int32_t i = 0; i < 2; ++i) {
    const int32_t taken = std::min(found[i], kMaxKeypoints - total);
    std::copy_n(buffers.candidates[i], taken, keypoints + total);
    total += taken;
  }
  return total;
}

}  // namespace zolt
