#include "config/iso_selection.h"

#include <algorithm>

#include "base/arithmetic.h"

namespace zolt {
namespace {

constexpr int32_t kStrongestBoost = 10;
constexpr int32_t kLargestDetailMin = 10;
constexpr int32_t kWaveletLevels = 3;

FusionSettings FusionOf(const IsoBand& band, const MfConfig& config) {
  FusionSettings fusion = {};
  fusion.fusion_low = band.fusion_low;
  fusion.fusion_high = band.fusion_high;
  fusion.lumaLF = band.lumaLF;
  fusion.detail = band.detail;
  fusion.chromaS = band.chromaS;
  fusion.chromaNrTable = band.chromaNrLUT;
  fusion.SaturationGain = band.SaturationGain;
  fusion.detailRestore = static_cast<uint8_t>(band.detailRestore);
  // The byte is cut out first: 256 means no boost, not the strongest.
  fusion.boostDetail = static_cast<uint8_t>(std::min(band.boostDetail & 255, kStrongestBoost));
  fusion.detailMin = static_cast<uint8_t>(Clamp(config.detailMin, 0, kLargestDetailMin));
  fusion.ChromaFusionFlag = config.ChromaFusionFlag;
  fusion.HDRFusionFlag = config.HDRFusionFlag;
  fusion.isoTH = config.isoTH;
  fusion.ghostTH = config.ghostTH;
  fusion.maxShift = config.maxShift;
  fusion.lumaTH = config.stableLumaTH;
  fusion.bandLevels = kWaveletLevels;
  return fusion;
}

}  // namespace

int BandOfIso(int32_t iso, const MfConfig& config) {
  int band = 0;
  while (band < kIsoBands - 1 && iso > config.bands[band].isovalue) ++band;
  return band;
}

IsoParameters SelectIsoParameters(int32_t iso, const MfConfig& config) {
  const IsoBand& band = config.bands[BandOfIso(iso, config)];
  IsoParameters parameters = {};
  parameters.noiseReductionOn = band.NoiseReductionFlag & config.NoiseReductionFlag & 1;
  parameters.nr = {band.lumaMed, band.lumaLF,  band.lumaHF1, band.lumaHF2,
                   band.lumaHF3, band.chromaS, band.detail};
  parameters.chromaNrLUT = band.chromaNrLUT;
  parameters.enhancement = {config.enhancementLevel,
                            config.chromaDetail,
                            config.LumaEnhancementFlag,
                            config.maxGain,
                            config.chromaGain,
                            config.lumaTH,
                            config.peakTH};
  parameters.deghost = {band.lumaTH_Low,   band.lumaTH_High,   band.lumaNoiseTH,
                        band.chromaTH_Low, band.chromaTH_High, band.chromaNoiseTH};
  parameters.fusion = FusionOf(band, config);
  parameters.eisMode = config.ExposureFusionFlag;
  return parameters;
}

}  // namespace zolt
