#include "burst/fine/block_transform.h"

#include "base/vector_clones.h"

namespace zolt {
namespace {

// cos(k pi / 16) / 2, and sqrt(1 / 8).
constexpr float kC1 = 0.490392640f, kC2 = 0.461939766f, kC3 = 0.415734806f, kC4 = 0.353553391f;
constexpr float kC5 = 0.277785117f, kC6 = 0.191341716f, kC7 = 0.097545161f;

using Lanes = float[kBlockSide];

/// The transform along the first index of eight columns side by side.
void Forward(const Lanes* in, Lanes* out) {
  for (int i = 0; i < kBlockSide; ++i) {
    const float s0 = in[0][i] + in[7][i], s1 = in[1][i] + in[6][i];
    const float s2 = in[2][i] + in[5][i], s3 = in[3][i] + in[4][i];
    const float d0 = in[0][i] - in[7][i], d1 = in[1][i] - in[6][i];
    const float d2 = in[2][i] - in[5][i], d3 = in[3][i] - in[4][i];
    const float even = s0 + s3, odd = s1 + s2, rest = s0 - s3, other = s1 - s2;
    out[0][i] = kC4 * (even + odd);
    out[4][i] = kC4 * (even - odd);
    out[2][i] = kC2 * rest + kC6 * other;
    out[6][i] = kC6 * rest - kC2 * other;
    out[1][i] = (kC1 * d0 + kC3 * d1) + (kC5 * d2 + kC7 * d3);
    out[3][i] = (kC3 * d0 - kC7 * d1) - (kC1 * d2 + kC5 * d3);
    out[5][i] = (kC5 * d0 - kC1 * d1) + (kC7 * d2 + kC3 * d3);
    out[7][i] = (kC7 * d0 - kC5 * d1) + (kC3 * d2 - kC1 * d3);
  }
}

void Backward(const Lanes* in, Lanes* out) {
  for (int i = 0; i < kBlockSide; ++i) {
    const float even = kC4 * (in[0][i] + in[4][i]), odd = kC4 * (in[0][i] - in[4][i]);
    const float rest = kC2 * in[2][i] + kC6 * in[6][i], other = kC6 * in[2][i] - kC2 * in[6][i];
    const float s0 = even + rest, s3 = even - rest, s1 = odd + other, s2 = odd - other;
    const float x1 = in[1][i], x3 = in[3][i], x5 = in[5][i], x7 = in[7][i];
    const float d0 = (kC1 * x1 + kC3 * x3) + (kC5 * x5 + kC7 * x7);
    const float d1 = (kC3 * x1 - kC7 * x3) - (kC1 * x5 + kC5 * x7);
    const float d2 = (kC5 * x1 - kC1 * x3) + (kC7 * x5 + kC3 * x7);
    const float d3 = (kC7 * x1 - kC5 * x3) + (kC3 * x5 - kC1 * x7);
    out[0][i] = s0 + d0;
    out[7][i] = s0 - d0;
    out[1][i] = s1 + d1;
    out[6][i] = s1 - d1;
    out[2][i] = s2 + d2;
    out[5][i] = s2 - d2;
    out[3][i] = s3 + d3;
    out[4][i] = s3 - d3;
  }
}

void Transpose(const Lanes* in, Lanes* out) {
  for (int y = 0; y < kBlockSide; ++y) {
    for (int x = 0; x < kBlockSide; ++x) out[x][y] = in[y][x];
  }
}

}  // namespace

ZOLT_VECTOR_CLONES void TransformBlock(const float* block, float* coefficients) {
  Lanes columns[kBlockSide], turned[kBlockSide];
  Forward(reinterpret_cast<const Lanes*>(block), columns);
  Transpose(columns, turned);
  Forward(turned, reinterpret_cast<Lanes*>(coefficients));
}

ZOLT_VECTOR_CLONES void RestoreBlock(const float* coefficients, float* block) {
  Lanes columns[kBlockSide], turned[kBlockSide];
  Backward(reinterpret_cast<const Lanes*>(coefficients), columns);
  Transpose(columns, turned);
  Backward(turned, reinterpret_cast<Lanes*>(block));
}

}  // namespace zolt
