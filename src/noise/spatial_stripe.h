#pragma once

#include <cstdint>

#include "base/yuv_image.h"
#include "noise/spatial_scratch.h"
#include "noise/spatial_settings.h"
#include "noise/stripe_barrier.h"

namespace zolt {

/// What one thread of a spatial stage works on. To the kernels the stripe is an image of its own.
struct SpatialStripe {
  const SpatialSettings* settings;
  StripeBarrier* barrier;
  StripeRows rows;
  int32_t width;             ///< a multiple of 16 from 256 up, the pitch of luma and weightMap
  uint8_t *y, *u, *v;        ///< at the stripe's first row, overlap included; chroma pitch width / 2
  const uint8_t* weightMap;  ///< at the stripe's first row
  StripeScratch scratch;
};

/// The stripe `rows` of an image; its scratch is cut from the block behind `cutter`.
SpatialStripe MakeSpatialStripe(const YuvImage& image, const uint8_t* weightMap,
                                const SpatialSettings& settings, StripeBarrier* barrier,
                                const StripeRows& rows, RegionCutter* cutter);

/// Filters the stripe's core rows in place. All stripes of an image run at once, as each waits at the barrier
/// before it writes. 0, also when the barrier was called off (then nothing is written); the code of
/// ThresholdDilate when that failed, and then this stripe writes nothing.
int32_t RunSpatialStripe(const SpatialStripe& stripe);

}  // namespace zolt
