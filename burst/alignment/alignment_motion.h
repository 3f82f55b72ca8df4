#pragma once

namespace zolt {

/// Takes the centre (x, y) of a pixel of the reference to where the frame shows the same:
/// x' = (h0 x + h1 y + h2) / (h6 x + h7 y + 1), y' = (h3 x + h4 y + h5) / (h6 x + h7 y + 1). Pixel centres
/// lie on whole numbers.
struct Homography {
  double h[8];

  static constexpr Homography Identity() { return {{1, 0, 0, 0, 1, 0, 0, 0}}; }
  static constexpr Homography Translation(double x, double y) { return {{1, 0, x, 0, 1, y, 0, 0}}; }

  void Map(double x, double y, double* to_x, double* to_y) const {
    const double w = (h[6] * x + h[7] * y) + 1;
    *to_x = ((h[0] * x + h[1] * y) + h[2]) / w;
    *to_y = ((h[3] * x + h[4] * y) + h[5]) / w;
  }
};

/// outer(inner(p)) for every point p. Where the product's last entry is 0, no point of finite place is left:
/// the entries become infinite or not a number, which IsUsable refuses.
Homography Compose(const Homography& outer, const Homography& inner);

/// The map that leads back. A singular one gives entries that IsUsable refuses.
Homography Inverse(const Homography& motion);

/// The same motion where places count from another origin in other steps: p = step * q + offset on both
/// sides, q the new coordinate. For a pyramid's level of scale s: step s, offset (s - 1) / 2.
Homography InSteps(const Homography& motion, double step, double offset_x, double offset_y);

/// All entries finite, orientation kept, and the denominator positive at the corners of a width x height
/// picture: the map takes the picture to one piece.
bool IsUsable(const Homography& motion, int width, int height);

/// Largest distance in pixels between where two motions take a corner of a width x height picture.
double LargestCornerDistance(const Homography& a, const Homography& b, int width, int height);

}  // namespace zolt
