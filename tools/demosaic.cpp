#include "demosaic.h"

#include <cstddef>

namespace zolt {
namespace {

constexpr int kRim = 2;

int Mirror(int i, int n) {
  if (i < 0) return -i;
  return i < n ? i : 2 * n - 2 - i;
}

std::vector<float> WithRim(const std::vector<float>& mosaic, int width, int height) {
  const int pitch = width + 2 * kRim;
  std::vector<float> out(size_t(pitch) * (height + 2 * kRim));
  for (int y = -kRim; y < height + kRim; ++y) {
    const float* in = &mosaic[size_t(Mirror(y, height)) * width];
    float* row = &out[size_t(y + kRim) * pitch + kRim];
    for (int x = -kRim; x < width + kRim; ++x) row[x] = in[Mirror(x, width)];
  }
  return out;
}

struct Neighbours {
  float centre, sides, ends, diagonal, two_sides, two_ends;

  Neighbours(const float* p, ptrdiff_t pitch)
      : centre(p[0]),
        sides(p[-1] + p[1]),
        ends(p[-pitch] + p[pitch]),
        diagonal((p[-pitch - 1] + p[-pitch + 1]) + (p[pitch - 1] + p[pitch + 1])),
        two_sides(p[-2] + p[2]),
        two_ends(p[-2 * pitch] + p[2 * pitch]) {}

  // Green where the mosaic has red or blue.
  float Green() const { return (4 * centre + 2 * (sides + ends) - (two_sides + two_ends)) * 0.125f; }
  // A colour at a green place that has it to the left and right.
  float FromSides() const {
    return (5 * centre + 4 * sides - diagonal - two_sides + 0.5f * two_ends) * 0.125f;
  }
  // A colour at a green place that has it above and below.
  float FromEnds() const { return (5 * centre + 4 * ends - diagonal - two_ends + 0.5f * two_sides) * 0.125f; }
  // Red at blue and blue at red.
  float FromDiagonal() const { return (6 * centre + 2 * diagonal - 1.5f * (two_sides + two_ends)) * 0.125f; }
};

}  // namespace

std::array<std::vector<float>, 3> Demosaic(const std::vector<float>& mosaic, int width, int height) {
  const std::vector<float> rimmed = WithRim(mosaic, width, height);
  const ptrdiff_t pitch = width + 2 * kRim;
  std::array<std::vector<float>, 3> out;
  for (auto& plane : out) plane.resize(mosaic.size());
  for (int y = 0; y < height; ++y) {
    const float* in = &rimmed[size_t(y + kRim) * pitch + kRim];
    // An even row holds red and green, an odd row green and blue; `own` is the row's colour, `other` the
    // other one.
    const bool red_row = y % 2 == 0;
    float* own = &out[red_row ? 0 : 2][size_t(y) * width];
    float* other = &out[red_row ? 2 : 0][size_t(y) * width];
    float* green = &out[1][size_t(y) * width];
    for (int x = red_row ? 0 : 1; x < width; x += 2) {
      const Neighbours n(in + x, pitch);
      own[x] = n.centre;
      green[x] = n.Green();
      other[x] = n.FromDiagonal();
    }
    for (int x = red_row ? 1 : 0; x < width; x += 2) {
      const Neighbours n(in + x, pitch);
      own[x] = n.FromSides();
      green[x] = n.centre;
      other[x] = n.FromEnds();
    }
  }
  return out;
}

}  // namespace zolt
