#pragma once

#include <cstdint>

#include "base/yuv_image.h"

namespace zolt {

/// Parameters of exposure fusion. The session fills them per burst and per frame; fields marked (stage) are
/// the stage's own and need no value. The stage works on a copy, so a caller's record never changes.
struct FusionPara {
  uint8_t*
      weightMap;  ///< width x height: frames folded per pixel in steps of 25; overwritten on the still path
  uint8_t frameTotal;  ///< frames of the burst
  const int32_t* iirImgNum;
  uint8_t* halfWeight;        ///< (stage) weightMap at half size
  uint8_t* eighthWeight;      ///< (stage) weightMap at an eighth of the size
  uint8_t* scratch;           ///< working memory, any alignment
  uint64_t scratchSize;       ///< bytes at scratch; what is missing is taken through the hooks for the call
  int32_t bandLevels;         ///< wavelet levels, always 3
  int32_t fusion_low;         ///< threshold base of the coarsest band
  int32_t fusion_high;        ///< threshold base of the detail bands
  int32_t bandThreshold[20];  ///< (stage)
  int32_t lumaLF;
  int32_t detail;
  int32_t weightShift;  ///< (stage)
  int32_t chromaS;
  const int32_t* chromaNrTable;  ///< 40 thresholds: 20 for U, 20 for V
  int32_t SaturationGain;        ///< units of 1/16
  int32_t chromaDetail;
  int32_t ChromaFusionFlag;
  int32_t HDRFusionFlag;
  int32_t registered;     ///< 1 if the last frame is aligned
  int32_t deghost[6];     ///< ghost thresholds in the order of GhostThresholds
  uint8_t boostDetail;    ///< 0 to 10
  uint8_t detailRestore;  ///< acts as 0 to 128
  uint8_t detailMin;      ///< 0 to 10
  int32_t ghostTotal;     ///< ghost pixels summed over the burst's frames
  int32_t motionMax;      ///< largest mean squared corner displacement of the burst
  const YuvImage* input;  ///< the last frame before alignment
  int32_t iso;
  int32_t isoTH;
  float ghostTH;
  int32_t maxShift;
  int32_t lumaTH;
};

/// Fuses the accumulated burst (`image`, which receives the result in all three planes) with the differently
/// exposed last frame (`aligned`, only read). Both have pitch = width, sides multiples of 16 from 256 up. 0;
/// 3: the scene moved too much, nothing has changed, filter the image alone; -997: the worker pool can't
/// start; -1000: working memory was refused. Nothing has changed on failure.
int32_t ExposureFusion(const YuvImage& image, const YuvImage& aligned, const FusionPara& fusion);

}  // namespace zolt
