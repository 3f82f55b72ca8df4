#include "registration/motion_area.h"

#include <algorithm>
#include <cmath>

#include "base/arithmetic.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "registration/homography.h"

namespace zolt {
namespace {

constexpr int64_t kMostLost = 300;  ///< rows or columns that a motion may lose
constexpr double kMostPerspective = 0.0001;
constexpr int kMostChanges = 50;  ///< steps by which a pair of corners may be moved inwards

/// A rectangle while it is being found; 64 bits hold every difference of corners.
struct Area {
  int64_t x, y, width, height;
};

int32_t AreaError() {
  LogInfo("IMG_REGISTRATION: calculate motion area error!");
  return kNotAligned;
}

/// First eight entries of the inverse, the ninth taken as 1. Entry 2 has h7 where the exact inverse has h5:
/// what decides is where the rectangle's corners land, and those are checked with the forward mapping below,
/// so the rectangle follows this formula, not the exact one.
void Invert(const float* h, float* g) {
  const float det = h[0] * (h[8] * h[4] - h[7] * h[5]) - h[3] * (h[8] * h[1] - h[7] * h[2]) +
                    h[6] * (h[5] * h[1] - h[4] * h[2]);
  const float r = 1 / det;
  g[0] = (h[8] * h[4] - h[7] * h[5]) * r;
  g[1] = -(h[8] * h[1] - h[7] * h[2]) * r;
  g[2] = (h[7] * h[1] - h[4] * h[2]) * r;
  g[3] = -(h[8] * h[3] - h[5] * h[6]) * r;
  g[4] = (h[0] * h[8] - h[2] * h[6]) * r;
  g[5] = -(h[0] * h[5] - h[3] * h[2]) * r;
  g[6] = (h[7] * h[3] - h[4] * h[6]) * r;
  g[7] = -(h[0] * h[7] - h[1] * h[6]) * r;
}

/// As MapPoint, with the sum of the denominator begun at its 1.
Point MapBack(const float* g, float x, float y) {
  const float den = (1 + g[6] * x) + g[7] * y;
  return {((g[0] * x + g[1] * y) + g[2]) / den, ((g[3] * x + g[4] * y) + g[5]) / den};
}

int64_t Round(float v) {
  return TruncateToI32(static_cast<double>(v) + 0.5);
}

/// First and last column (or row) of an interval.
struct Interval {
  int64_t low, high;
};

/// What lies between the two inner ones of four corner coordinates; empty when they coincide.
bool InnerInterval(int64_t (&corners)[4], Interval* inner) {
  std::sort(corners, corners + 4);
  *inner = {corners[1], corners[2]};
  return inner->low != inner->high;
}

/// Cuts `interval` to columns 0 to size - 1; false when nothing is left.
bool IntersectFrame(int64_t size, Interval* interval) {
  int64_t s[4] = {0, size - 1, interval->low, interval->high};
  std::sort(s, s + 4);
  if ((interval->high - interval->low + 1) + size <= s[3] - s[0] + 1) return false;
  *interval = {s[1], s[2]};
  return true;
}

/// Where the frame's corners land on the reference, cut to the reference.
bool CoveredArea(const float* g, int32_t w, int32_t h, Area* area) {
  const auto right = static_cast<float>(w - 1), bottom = static_cast<float>(h - 1);
  const Point c00 = MapBack(g, 0, 0), c10 = MapBack(g, right, 0);
  const Point c01 = MapBack(g, 0, bottom), c11 = MapBack(g, right, bottom);
  int64_t xs[4] = {Round(c00.x), TruncateToI32(c10.x), Round(c01.x), TruncateToI32(c11.x)};
  int64_t ys[4] = {Round(c00.y), Round(c10.y), TruncateToI32(c01.y), TruncateToI32(c11.y)};
  Interval columns, rows;
  if (!InnerInterval(xs, &columns) || !InnerInterval(ys, &rows)) return false;
  if (!IntersectFrame(w, &columns) || !IntersectFrame(h, &rows)) return false;
  *area = {columns.low, rows.low, columns.high - columns.low + 1, rows.high - rows.low + 1};
  return true;
}

Point MapCorner(const float* homography, int64_t x, int64_t y) {
  return MapPoint(homography, {static_cast<float>(x), static_cast<float>(y)});
}

/// Moves the area's sides inwards by one as long as `outside` finds a coordinate beyond the frame: its answer
/// is the point whose x and y are to be judged. False when the changes run out.
template <typename Judge, typename Change>
bool ShrinkUntilStable(int* changes, Judge judge, Change change) {
  for (;;) {
    const auto [x_outside, y_outside] = judge();
    if (!x_outside && !y_outside) return true;
    if (++*changes > kMostChanges) return false;
    change(x_outside, y_outside);
  }
}

struct Outside {
  bool x, y;
};

/// Moves the left and upper side until the corners there map to coordinates of at least 0.
bool ShrinkFromUpperLeft(const float* h, Area* a) {
  int changes = 0;
  const auto change = [a](bool x, bool y) {
    a->x += x;
    a->width -= x;
    a->y += y;
    a->height -= y;
  };
  const auto corner = [=] {
    const Point p = MapCorner(h, a->x, a->y);
    return Outside{p.x < 0, p.y < 0};
  };
  const auto neighbours = [=] {
    return Outside{MapCorner(h, a->x, a->y + a->height).x < 0, MapCorner(h, a->x + a->width, a->y).y < 0};
  };
  return ShrinkUntilStable(&changes, corner, change) && ShrinkUntilStable(&changes, neighbours, change);
}

/// Moves the right and lower side until the corners there map to within the last but one column and row: the
/// interpolation needs one more of each.
bool ShrinkFromLowerRight(const float* h, int32_t frame_w, int32_t frame_h, Area* a) {
  const auto last_x = static_cast<float>(frame_w - 2), last_y = static_cast<float>(frame_h - 2);
  int changes = 0;
  const auto change = [a](bool x, bool y) {
    a->width -= x;
    a->height -= y;
  };
  const auto corner = [=] {
    const Point p = MapCorner(h, a->x + a->width, a->y + a->height);
    return Outside{p.x > last_x, p.y > last_y};
  };
  const auto neighbours = [=] {
    return Outside{MapCorner(h, a->x + a->width, a->y).x > last_x,
                   MapCorner(h, a->x, a->y + a->height).y > last_y};
  };
  return ShrinkUntilStable(&changes, corner, change) && ShrinkUntilStable(&changes, neighbours, change);
}

/// Makes the start even and the length a multiple of 8, inside what was there.
void AlignToBlocks(int64_t* start, int64_t* length) {
  if (*start % 2 == 0) {
    *length &= ~int64_t{7};
    return;
  }
  const int64_t aligned = (*length - 1) & ~int64_t{7};
  const int64_t spare = *length - aligned;
  *start += spare - ((spare + 1) & 1);
  *length = aligned;
}

}  // namespace

int32_t MotionArea(const float* homography, int32_t w, int32_t h, int32_t* motionRect) {
  float g[8];
  Invert(homography, g);
  if (std::fabs(static_cast<double>(g[6])) > kMostPerspective ||
      std::fabs(static_cast<double>(g[7])) > kMostPerspective) {
    LogInfo("IMG_REGISTRATION: Incorrect h!");
    return kNotAligned;
  }
  Area a;
  if (!CoveredArea(g, w, h, &a)) return AreaError();
  if (w - a.width > kMostLost || h - a.height > kMostLost) {
    LogInfo("IMG_REGISTRATION: the global motion between two frames is too large!");
    return kNotAligned;
  }
  if (!ShrinkFromUpperLeft(homography, &a) || !ShrinkFromLowerRight(homography, w, h, &a)) return AreaError();
  if (a.x + a.width > w) a.width = w - a.x;
  if (a.y + a.height > h) a.height = h - a.y;
  AlignToBlocks(&a.x, &a.width);
  AlignToBlocks(&a.y, &a.height);
  if (a.y >= h || a.x >= w || a.width <= w >> 1 || a.height <= h >> 1) return AreaError();
  const int64_t sides[4] = {a.x, a.y, a.width, a.height};
  std::transform(sides, sides + 4, motionRect, [](int64_t v) { return static_cast<int32_t>(v); });
  return 0;
}

}  // namespace zolt
