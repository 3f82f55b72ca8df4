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

/// DiffPlane of whole planes: what the doubled half-size plane lacks of the full one.
void LostDetail(const uint8_t* plane, const uint8_t* doubled, int16_t* detail, int64_t count);
/// DetailAdd of a whole plane with detailMin, boostDetail, weightMap and weightShift of `fusion`.
void RestoreDetail(uint8_t* plane, const int16_t* detail, const uint8_t* edge, int64_t count,
                   const FusionPara& fusion);

}  // namespace zolt
