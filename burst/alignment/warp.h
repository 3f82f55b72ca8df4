#pragma once

#include <cstdint>

#include "burst/alignment/alignment_motion.h"
#include "burst/picture/plane.h"

namespace zolt {

/// Where the pixels of a plane lie: pixel X at step * X + offset of the luma at its native size, in x and y
/// alike.
struct PlaneGrid {
  double step;
  double offset;
};
inline constexpr PlaneGrid kLumaGrid = {1, 0};
inline constexpr PlaneGrid kChromaGrid = {2, 0.5};  ///< 4:2:0, a sample in the middle of four pixels

/// What WarpPlane wants: takes pixels of `out` to pixels of `from`, for a motion between luma planes of
/// native size.
Homography ForPlane(const Homography& luma_motion, PlaneGrid out, PlaneGrid from);

/// What a warped row goes through while it is in the cache.
struct WarpFinish {
  const uint8_t* tone = nullptr;  ///< 256 bytes, or null: as it is
  PlaneView beyond = {};          ///< of out's size: the pixels where `outside` is set; or null data
};

/// out(X, Y) = from(motion(X, Y)), interpolated by the cubic kernel of Keys (1981), a = -5/8, edges repeated;
/// then as `finish` says. `outside`, of out's size or null data, becomes 255 where the place
/// lies outside `from` by more than a quarter pixel, 0 elsewhere.
///
/// A row of `out` is a straight line in `from`: first each column is interpolated where the line crosses it,
/// then the line between the columns. In 16-bit integers with 4 bits below the grey level; a place that is a
/// pixel gives that pixel. Motions of which a row rises by more than 1 pixel a pixel are no hand's: all is
/// outside then. The same bytes for any number of threads. False if memory was refused; `out` is unspecified
/// then.
bool WarpPlane(const MutablePlane& out, const MutablePlane& outside, PlaneView from, const Homography& motion,
               const WarpFinish& finish, int threads);

}  // namespace zolt
