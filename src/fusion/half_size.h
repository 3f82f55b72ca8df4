#pragma once

#include <cstdint>

#include "base/yuv_image.h"
#include "fusion/exposure_fusion.h"
#include "fusion/plane_set.h"

namespace zolt {

// Between the full frame and the fusion's half-size images, all on the fusion's workers.

/// 2:1 of one plane by rounding halves; rows and columns even, the destination is dense.
void Down2Plane(const uint8_t* source, int rows, int columns, uint8_t* destination);
/// 2:1 of all three planes of an image.
void Down2Planes(const YuvImage& source, const PlaneSet& destination);
/// Centre-aligned bilinear 1:2 of a dense plane.
void Up2Plane(const uint8_t* source, int rows, int columns, uint8_t* destination);

/// Doubles `half`, the half-size luma that a path has prepared, and adds the detail that `original` has
/// beyond its own half size: DetailAdd with detailMin, boostDetail, weightMap and weightShift of `fusion` and
/// the edges of `original`. Row by row, so that neither doubled plane nor edges leave the cache. `half` and
/// `original_half` may be one plane. rows and columns are the full plane's.
void RestoreDetail(const uint8_t* half, const uint8_t* original, const uint8_t* original_half, int rows,
                   int columns, uint8_t* out, const FusionPara& fusion, uint8_t* scratch);
uint64_t RestoreDetailScratchSize(int columns);

}  // namespace zolt
