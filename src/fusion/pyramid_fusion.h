#pragma once

#include <cstdint>

#include "fusion/plane_set.h"

namespace zolt {

/// Bytes of scratch that HdrPyramidFusion needs for images of w x h.
uint64_t PyramidFusionScratchSize(int w, int h);

/// Exposure fusion (Mertens et al. 2007) of two YUV 4:2:0 images a and b of w x h, each side at least 4 and
/// even: pixels are weighted by how near their luma lies to mid-grey, sigma 0.1 of the scale, and blended
/// level by level in Laplacian pyramids; chroma is blended with the finest weights. Destroys the Y planes of
/// both; `destination` may be a. `scratch` is aligned to 2 bytes. On the fusion's workers. Always 0.
int32_t HdrPyramidFusion(const PlaneSet& a, const PlaneSet& b, const PlaneSet& destination, int w, int h,
                         uint8_t* scratch);

/// The weight of each luma level, 255 at 128: exp(-((k - 128) / 255)^2 / 0.02) x 255, rounded.
void ExposureTable(uint8_t* table);

}  // namespace zolt
