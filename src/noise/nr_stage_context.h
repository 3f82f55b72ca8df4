#pragma once

#include <cstdint>

#include "base/yuv_image.h"

namespace zolt {

/// The part of NrStageContext that every stripe of a spatial stage gets a copy of.
struct NrParameters {
  uint8_t blendWeight;  ///< share of the reference in each fold, of 256
  uint8_t* weightMap;   ///< one byte per pixel at pitch width: frames folded into it, in steps of 25
  uint8_t frameTotal;   ///< frames of the burst, 2 to 10
  int32_t lumaMed;      ///< nonzero: median before the wavelet
  int32_t lumaLF;       ///< strength of the low band's filter, used from -100 up
  int32_t lumaHF1;      ///< coring of the finest wavelet level, -128 (none) to 0
  int32_t lumaHF2;
  int32_t lumaHF3;
  int32_t chromaS;             ///< chroma strength
  int32_t detail;              ///< return of unfiltered luma, -128 (most) to 0
  const int32_t* chromaNrLUT;  ///< 40 thresholds: 20 for U, 20 for V
  int32_t* iirImgNum;          ///< frames folded so far, the first included
  int32_t stageSwitchA;        ///< nonzero: luma is written
  int32_t stageSwitchB;        ///< nonzero: chroma is filtered
  int32_t firstFrame;          ///< 1 on the burst's first later frame
  int32_t lastFrame;           ///< 1 on the burst's last frame
  int32_t iso;
  uint8_t peakLevel;  ///< most frequent luma of the reference
  uint8_t lumaLevel;  ///< mean of the reference's brightest 5 per cent
  int32_t enhancementLevel;
  int32_t chromaDetail;
  int32_t LumaEnhancementFlag;
  int32_t maxGain;
  int32_t chromaGain;
  int32_t lumaTH;
  int32_t peakTH;
};

/// The record that the noise reduction stages of one frame share. The session writes it as a whole for each
/// frame.
struct NrStageContext {
  ImageSet images;  ///< element 0 the running reference, element 1 the aligned frame
  GhostMask ghost;
  NrParameters nr;
  ImageSet firstImages;    ///< element 0 the burst's first frame
  int32_t eisMode;         ///< nonzero: the burst ends in exposure fusion
  uint8_t* fusionScratch;  ///< working memory of the spatial stages and of the fusion, any alignment
  uint64_t fusionScratchSize;
};

}  // namespace zolt
