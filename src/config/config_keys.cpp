#include "config/config_keys.h"

#include <cstdio>
#include <iterator>

namespace zolt {
namespace {

constexpr ConfigType kInt = ConfigType::kInt;
constexpr char kSwitches[] = "Global";
constexpr char kChroma[] = "ChromaEnhancement";
constexpr char kLuma[] = "LumaEnhancement";
constexpr char kFusion[] = "ExposureFusion";
constexpr char kStable[] = "ExposureFusion/Stable";
constexpr char kNoise[] = "NoiseReduction";
constexpr char kGhost[] = "GhostDetection";

#define ZOLT_GLOBAL(member) offsetof(MfConfig, member)
#define ZOLT_BAND(member) offsetof(IsoBand, member)

constexpr ConfigMeaning kGlobalTable[] = {
    {kSwitches, "NoiseReductionFlag", kInt, ZOLT_GLOBAL(NoiseReductionFlag), 1, 0, 1,
     "the whole noise reduction: 1 on, 0 off for every ISO"},
    {kSwitches, "ExposureFusionFlag", kInt, ZOLT_GLOBAL(ExposureFusionFlag), 1, 0, 1,
     "1: the last frame has another exposure and is fused in; a call's own choice comes first"},
    {kSwitches, "LumaEnhancementFlag", kInt, ZOLT_GLOBAL(LumaEnhancementFlag), 0, 0, 1,
     "1: dark frames are brightened by the LumaEnhancement group"},
    {kChroma, "enhancementLevel", kInt, ZOLT_GLOBAL(enhancementLevel), 0, 0, 9,
     "saturation boost, 0 none to 9 strongest; one step less in bright scenes"},
    {kChroma, "chromaDetail", kInt, ZOLT_GLOBAL(chromaDetail), 255, 0, 255,
     "colour kept at colour edges: 255 crisp, lower takes smoother colour there"},
    {kLuma, "maxGain", kInt, ZOLT_GLOBAL(maxGain), 16, 16, 255,
     "largest luma gain of a dark frame in 1/16; 16 none"},
    {kLuma, "chromaGain", kInt, ZOLT_GLOBAL(chromaGain), 16, 0, 16,
     "how far chroma follows the luma gain: exponent in 1/16, 0 not at all, 16 fully"},
    {kLuma, "lumaTH", kInt, ZOLT_GLOBAL(lumaTH), 0, 0, 2560,
     "gain only if ten times the brightest 5 per cent's mean luma is below; 0 never"},
    {kLuma, "peakTH", kInt, ZOLT_GLOBAL(peakTH), 0, 0, 2560,
     "gain only if ten times the most frequent luma is below; 0 never"},
    {kFusion, "detailMin", kInt, ZOLT_GLOBAL(detailMin), 1, 0, 10,
     "detail returned after tone matching, in halves: 2 all of it, above sharpens"},
    {kFusion, "ChromaFusionFlag", kInt, ZOLT_GLOBAL(ChromaFusionFlag), 0, 0, 1,
     "1: mixes the frames' chroma where nothing moved, and gives up fusion if much moved"},
    {kFusion, "HDRFusionFlag", kInt, ZOLT_GLOBAL(HDRFusionFlag), 0, 0, 1,
     "1: pyramid fusion by exposure of tone-matched and plain image"},
    {kStable, "isoTH", kInt, ZOLT_GLOBAL(isoTH), 0, 0, 409600, "still dark scene: only above this ISO"},
    {kStable, "maxShift", kInt, ZOLT_GLOBAL(maxShift), 0, 0, 10000,
     "still dark scene: only if the corners' mean squared shift in pixels is below; 0 never"},
    {kStable, "ghostTH", ConfigType::kFloat, ZOLT_GLOBAL(ghostTH), 0, 0, 10,
     "still dark scene: only if the burst's ghost pixels are below this share of a frame; 0 never"},
    {kStable, "lumaTH", kInt, ZOLT_GLOBAL(stableLumaTH), 0, 0, 256,
     "still dark scene: only if the mean luma is below; 0 never"},
};
static_assert(std::size(kGlobalTable) == kGlobalKeys);

constexpr ConfigMeaning kBandTable[] = {
    {kNoise, "isovalue", kInt, ZOLT_BAND(isovalue), 0, 1, 409600,
     "highest ISO that the band serves; must rise from band to band, ISO8's is not read"},
    {kNoise, "NoiseReductionFlag", kInt, ZOLT_BAND(NoiseReductionFlag), 1, 0, 1, "1 on, 0 off in this band"},
    {kNoise, "lumaMed", kInt, ZOLT_BAND(lumaMed), 0, 0, 1,
     "1: median before the luma filter, against strong single-pixel noise"},
    {kNoise, "lumaLF", kInt, ZOLT_BAND(lumaLF), -90, -100, 0,
     "smoothing of coarse luma noise: -100 none, higher is stronger"},
    {kNoise, "lumaHF1", kInt, ZOLT_BAND(lumaHF1), -128, -128, 0,
     "coring of the finest luma detail: -128 none, 0 strongest"},
    {kNoise, "lumaHF2", kInt, ZOLT_BAND(lumaHF2), -128, -128, 0,
     "coring of the next coarser luma detail, with 4 and more frames: -128 none, 0 strongest"},
    {kNoise, "lumaHF3", kInt, ZOLT_BAND(lumaHF3), -128, -128, 0,
     "coring of the coarsest luma detail, with 4 and more frames: -128 none, 0 strongest"},
    {kNoise, "chromaS", kInt, ZOLT_BAND(chromaS), -90, -100, -15,
     "strength of chroma noise reduction: -100 none, higher is stronger and spares fewer edges"},
    {kNoise, "detail", kInt, ZOLT_BAND(detail), -128, -128, -12,
     "unfiltered luma that comes back: -128 most, -12 least; above, it can jump back to most"},
    {kNoise, "chromaNrLUT", ConfigType::kIntList, ZOLT_BAND(chromaNrLUT), 0, 0, 1000,
     "chroma thresholds, 20 for U then 20 for V: 5 scales, fine first, of 4 chroma ranges; 0 none"},
    {kGhost, "lumaTH_Low", kInt, ZOLT_BAND(lumaTH_Low), 30, 0, 4080,
     "luma change in dark places that counts as motion, in 1/16 grey level; lower finds more"},
    {kGhost, "lumaTH_High", kInt, ZOLT_BAND(lumaTH_High), 100, 0, 4080,
     "luma change in bright places that counts as motion, in 1/16 grey level"},
    {kGhost, "lumaNoiseTH", kInt, ZOLT_BAND(lumaNoiseTH), 100, 0, 4096,
     "luma in 1/16 grey level below which a place is dark"},
    {kGhost, "chromaTH_Low", kInt, ZOLT_BAND(chromaTH_Low), 100, 0, 4080,
     "chroma change that counts as motion where chroma is below chromaNoiseTH, in 1/16"},
    {kGhost, "chromaTH_High", kInt, ZOLT_BAND(chromaTH_High), 100, 0, 4080,
     "chroma change that counts as motion elsewhere, in 1/16"},
    {kGhost, "chromaNoiseTH", kInt, ZOLT_BAND(chromaNoiseTH), 2550, 0, 4096,
     "chroma value in 1/16 below which chromaTH_Low holds"},
    {kFusion, "fusion_low", kInt, ZOLT_BAND(fusion_low), 0, 0, 569,
     "squared difference up to which the last frame's coarse brightness enters; 0 none"},
    {kFusion, "fusion_high", kInt, ZOLT_BAND(fusion_high), 0, 0, 2048,
     "squared difference up to which the last frame's detail enters; 0 none"},
    {kFusion, "detailRestore", kInt, ZOLT_BAND(detailRestore), 0, 0, 128,
     "share of the unfiltered luma in the fused image, in 1/128"},
    {kFusion, "SaturationGain", kInt, ZOLT_BAND(SaturationGain), 0, 0, 64,
     "saturation in 1/16: 0 off, 16 neutral, 32 up to twice"},
    {kFusion, "boostDetail", kInt, ZOLT_BAND(boostDetail), 0, 0, 10,
     "extra detail where many frames were merged and on edges; 0 none"},
};
static_assert(std::size(kBandTable) == kBandKeys);

#undef ZOLT_GLOBAL
#undef ZOLT_BAND

constexpr int32_t kDefaultIsoValues[kIsoBands] = {50, 200, 400, 800, 1600, 2400, 3200, 4950};

}  // namespace

ConfigKey ConfigKeyAt(int index) {
  ConfigKey key = {};
  if (index < kGlobalKeys) {
    key.meaning = &kGlobalTable[index];
    key.offset = key.meaning->offset;
    key.fallback = key.meaning->fallback;
    std::snprintf(key.path, sizeof(key.path), "/Config/%s/%s", key.meaning->group, key.meaning->name);
    return key;
  }
  const int band = (index - kGlobalKeys) / kBandKeys;
  key.meaning = &kBandTable[(index - kGlobalKeys) % kBandKeys];
  key.band = band + 1;
  key.offset = offsetof(MfConfig, bands) + static_cast<size_t>(band) * sizeof(IsoBand) + key.meaning->offset;
  key.fallback =
      key.meaning->offset == offsetof(IsoBand, isovalue) ? kDefaultIsoValues[band] : key.meaning->fallback;
  std::snprintf(key.path, sizeof(key.path), "/Config/%s/ISO%d/%s", key.meaning->group, key.band,
                key.meaning->name);
  return key;
}

}  // namespace zolt
