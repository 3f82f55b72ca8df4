#include "simulate/demosaic.h"

#include <cmath>
#include <cstddef>

namespace zolt {
namespace {

int Mirror(int i, int n) {
  if (i < 0) return -i;
  return i < n ? i : 2 * n - 2 - i;
}

/// A plane with a mirrored rim around it.
struct RimmedPlane {
  RimmedPlane(const std::vector<float>& plane, int width, int height, int rim)
      : pitch(width + 2 * rim), origin(rim * pitch + rim), pixels(size_t(pitch) * (height + 2 * rim)) {
    for (int y = -rim; y < height + rim; ++y) {
      const float* in = &plane[size_t(Mirror(y, height)) * width];
      float* row = &pixels[origin + y * pitch];
      for (int x = -rim; x < width + rim; ++x) row[x] = in[Mirror(x, width)];
    }
  }

  const float* Row(int y) const { return &pixels[origin + y * pitch]; }

  ptrdiff_t pitch;
  ptrdiff_t origin;
  std::vector<float> pixels;
};

bool HasGreen(int x, int y) {
  return ((x ^ y) & 1) != 0;
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

/// Green where the mosaic has red or blue.
float DirectedGreen(const float* p, ptrdiff_t pitch) {
  const float curve_x = 2 * p[0] - p[-2] - p[2];
  const float curve_y = 2 * p[0] - p[-2 * pitch] - p[2 * pitch];
  const float change_x = std::abs(p[-1] - p[1]) + std::abs(curve_x);
  const float change_y = std::abs(p[-pitch] - p[pitch]) + std::abs(curve_y);
  const float along_x = 0.5f * (p[-1] + p[1]) + 0.25f * curve_x;
  const float along_y = 0.5f * (p[-pitch] + p[pitch]) + 0.25f * curve_y;
  if (change_x < change_y) return along_x;
  if (change_y < change_x) return along_y;
  return 0.5f * (along_x + along_y);
}

}  // namespace

std::array<std::vector<float>, 3> DemosaicLinear(const std::vector<float>& mosaic, int width, int height) {
  const RimmedPlane rimmed(mosaic, width, height, 2);
  const ptrdiff_t pitch = rimmed.pitch;
  std::array<std::vector<float>, 3> out;
  for (auto& plane : out) plane.resize(mosaic.size());
  for (int y = 0; y < height; ++y) {
    const float* in = rimmed.Row(y);
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

std::array<std::vector<float>, 3> DemosaicDirected(const std::vector<float>& mosaic, int width, int height) {
  std::array<std::vector<float>, 3> out;
  for (auto& plane : out) plane.resize(mosaic.size());
  const RimmedPlane rimmed(mosaic, width, height, 2);
  std::vector<float> difference(mosaic.size());  // the pixel's own colour less green
  for (int y = 0; y < height; ++y) {
    const float* in = rimmed.Row(y);
    for (int x = 0; x < width; ++x) {
      const size_t i = size_t(y) * width + x;
      out[1][i] = HasGreen(x, y) ? in[x] : DirectedGreen(in + x, rimmed.pitch);
      difference[i] = in[x] - out[1][i];
    }
  }
  const RimmedPlane rimmed_difference(difference, width, height, 1);
  const ptrdiff_t pitch = rimmed_difference.pitch;
  for (int y = 0; y < height; ++y) {
    std::vector<float>& own = out[y % 2 == 0 ? 0 : 2];
    std::vector<float>& other = out[y % 2 == 0 ? 2 : 0];
    for (int x = 0; x < width; ++x) {
      const size_t i = size_t(y) * width + x;
      const float* d = rimmed_difference.Row(y) + x;
      const bool green = HasGreen(x, y);
      const float diagonal = (d[-pitch - 1] + d[-pitch + 1]) + (d[pitch - 1] + d[pitch + 1]);
      own[i] = out[1][i] + (green ? 0.5f * (d[-1] + d[1]) : d[0]);
      other[i] = out[1][i] + (green ? 0.5f * (d[-pitch] + d[pitch]) : 0.25f * diagonal);
    }
  }
  return out;
}

}  // namespace zolt
