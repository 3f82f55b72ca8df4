#pragma once

#include <cstdint>

#include "config/configuration.h"

namespace zolt {

/// Spatial noise reduction of a burst.
struct NRPara {
  int32_t lumaMed, lumaLF, lumaHF1, lumaHF2, lumaHF3, chromaS, detail;
};

/// Gains and chroma boost, the same for every ISO.
struct EnhancementPara {
  int32_t enhancementLevel, chromaDetail, LumaEnhancementFlag, maxGain, chromaGain, lumaTH, peakTH;
};

/// Ghost thresholds as the file gives them, in units of 1/16 grey level.
struct DeghostPara {
  int32_t lumaTH_Low, lumaTH_High, lumaNoiseTH, chromaTH_Low, chromaTH_High, chromaNoiseTH;
};

/// What the tuning file decides of exposure fusion.
struct FusionSettings {
  int32_t fusion_low, fusion_high, lumaLF, detail, chromaS;
  const int32_t* chromaNrTable;  ///< 40 entries inside the MfConfig
  int32_t SaturationGain;
  uint8_t detailRestore;  ///< low byte of the file's value
  uint8_t boostDetail;    ///< low byte, at most 10
  uint8_t detailMin;      ///< 0 to 10
  int32_t ChromaFusionFlag, HDRFusionFlag, isoTH;
  float ghostTH;
  int32_t maxShift, lumaTH, bandLevels;
};

/// All parameters of one burst.
struct IsoParameters {
  int32_t noiseReductionOn;  ///< 0 or 1
  NRPara nr;
  const int32_t* chromaNrLUT;  ///< 40 entries inside the MfConfig
  EnhancementPara enhancement;
  DeghostPara deghost;
  FusionSettings fusion;
  int32_t eisMode;  ///< the file's ExposureFusionFlag; the caller may choose otherwise
};

/// Takes the first of bands 1 to 7 whose `isovalue` is not below `iso`, or else band 8; nothing is
/// interpolated. The result points into `config`.
IsoParameters SelectIsoParameters(int32_t iso, const MfConfig& config);

/// The index (0 to 7) of the band that serves `iso`.
int BandOfIso(int32_t iso, const MfConfig& config);

}  // namespace zolt
