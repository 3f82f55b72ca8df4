#pragma once

#include <cstdint>

#include "burst/alignment/alignment_motion.h"
#include "burst/alignment/pyramid.h"

namespace zolt {

/// How many pixels have each grey level.
struct GreyHistogram {
  int64_t count[256] = {};
  int64_t total = 0;

  void Add(int16_t grey) {  ///< in Q5
    ++count[grey >> 5];
    ++total;
  }
};

/// A rising curve from the grey levels of one picture to another's: what Q5 level 32 v becomes, v = 0..256.
struct LevelCurve {
  int16_t value[257];
  /// Up to here, in the target's Q5, both pictures tell brightness; beyond, one of them is blown out.
  int16_t ceiling;

  int16_t At(int16_t grey) const;  ///< between two entries on a straight line
  /// No more than 4 levels away from the identity in the mean over `used`: what frames of one exposure show,
  /// and what a large shift alone does to histograms.
  bool IsSame(const GreyHistogram& used) const;
};

/// Histogram matching: a level of `from` goes to the level of `to` that as large a share of the pixels lies
/// below. Both have to show the same things, in whatever places. Straight lines where `from` has too few
/// pixels to tell.
LevelCurve MatchTones(const GreyHistogram& from, const GreyHistogram& to);

GreyHistogram HistogramOf(const GreyPlane& plane);

/// Histograms of what two pictures of the same size show both: of pixel (x, y) of the reference and of the
/// nearest pixel at `motion` (x, y) of the frame, for some 20000 pixels in even steps.
void OverlapHistograms(const GreyPlane& reference, const GreyPlane& frame, const Homography& motion,
                       GreyHistogram* of_reference, GreyHistogram* of_frame);

/// grey = min(curve(grey), ceiling), in place.
void ApplyCurve(const LevelCurve& curve, int threads, GreyPlane* plane);

/// grey = min(grey, ceiling): what the other picture can't tell apart is made one.
void LimitTo(int16_t ceiling, int threads, GreyPlane* plane);

}  // namespace zolt
