#include "tune_keys.h"

#include <algorithm>
#include <cmath>

namespace zolt {
namespace {

constexpr int kScales = 5;
constexpr int kLevels = 4;
constexpr int kPlane = kScales * kLevels;

double Scaled(double value, bool ratio) {
  return ratio ? std::log(value + 1) : value;
}

// The library drops the low four bits of these, so only whole steps of 16 differ.
TuneKey Ghost(const char* name, int low, int high, bool ratio, int32_t IsoBand::*member) {
  return {name, TuneGroup::kGhost, low, high, 16, ratio, member, -1};
}

TuneKey Spatial(const char* name, int low, int high, int32_t IsoBand::*member) {
  return {name, TuneGroup::kSpatial, low, high, 1, false, member, -1};
}

TuneKey Fusion(const char* name, int high, bool ratio, int32_t IsoBand::*member) {
  return {name, TuneGroup::kFusion, 0, high, 1, ratio, member, -1};
}

// Parallax and changing light, which simulated bursts lack, count as motion below the lowest: of a real
// hand-held burst of eight frames, a luma threshold of 8 grey levels loses one frame, 6 lose four. Above the
// highest, dark things that move would smear, which simulated bursts, whose object is bright, don't tell.
constexpr int kLowestLuma = 10, kHighestLuma = 16;
constexpr int kLowestChroma = 7, kHighestChroma = 20;

std::vector<TuneKey> AllKeys() {
  std::vector<TuneKey> keys = {
      Ghost("lumaTH_Low", kLowestLuma, kHighestLuma, true, &IsoBand::lumaTH_Low),
      Ghost("lumaTH_High", kLowestLuma, kHighestLuma, true, &IsoBand::lumaTH_High),
      Ghost("lumaNoiseTH", 0, 255, false, &IsoBand::lumaNoiseTH),
      Ghost("chromaTH_Low", kLowestChroma, kHighestChroma, true, &IsoBand::chromaTH_Low),
      Ghost("chromaTH_High", kLowestChroma, kHighestChroma, true, &IsoBand::chromaTH_High),
      Ghost("chromaNoiseTH", 96, 192, false, &IsoBand::chromaNoiseTH),
      Spatial("lumaLF", -100, -70, &IsoBand::lumaLF),
      Spatial("lumaHF1", -128, 0, &IsoBand::lumaHF1),
      Spatial("lumaHF2", -128, 0, &IsoBand::lumaHF2),
      Spatial("lumaHF3", -128, 0, &IsoBand::lumaHF3),
      // Near 0 the share jumps back to all of it.
      Spatial("detail", -128, -12, &IsoBand::detail),
      // Higher, the stronger filter for few frames would wrap round to none.
      Spatial("chromaS", -100, -40, &IsoBand::chromaS),
  };
  static const char* const kNames[kScales] = {"chromaNrLUT scale 1", "chromaNrLUT scale 2",
                                              "chromaNrLUT scale 3", "chromaNrLUT scale 4",
                                              "chromaNrLUT scale 5"};
  for (int scale = 0; scale < kScales; ++scale)
    keys.push_back({kNames[scale], TuneGroup::kSpatial, 0, 400, 1, true, nullptr, scale});
  keys.push_back(Fusion("fusion_low", 569, true, &IsoBand::fusion_low));
  keys.push_back(Fusion("fusion_high", 2048, true, &IsoBand::fusion_high));
  keys.push_back(Fusion("detailRestore", 128, false, &IsoBand::detailRestore));
  keys.push_back(Fusion("SaturationGain", 32, false, &IsoBand::SaturationGain));
  // More leaves specks along hard edges, which a mean over the picture hardly sees.
  keys.push_back(Fusion("boostDetail", 1, false, &IsoBand::boostDetail));
  return keys;
}

}  // namespace

int TuneKey::Get(const IsoBand& band) const {
  double value = 0;
  if (scale < 0) {
    value = band.*member;
  } else {
    for (int plane = 0; plane < 2; ++plane) {
      for (int level = 0; level < kLevels; ++level)
        value += band.chromaNrLUT[plane * kPlane + scale * kLevels + level] / (2.0 * kLevels);
    }
  }
  return static_cast<int>(std::lround(std::clamp<double>(value / step, low, high)));
}

void TuneKey::Set(IsoBand* band, int value) const {
  if (scale < 0) {
    band->*member = value * step;
    return;
  }
  for (int plane = 0; plane < 2; ++plane) {
    for (int level = 0; level < kLevels; ++level)
      band->chromaNrLUT[plane * kPlane + scale * kLevels + level] = value;
  }
}

double TuneKey::Place(int value) const {
  const double from = Scaled(low, ratio);
  const double to = Scaled(high, ratio);
  return std::clamp((Scaled(value, ratio) - from) / (to - from), 0.0, 1.0);
}

int TuneKey::Value(double place) const {
  const double from = Scaled(low, ratio);
  const double to = Scaled(high, ratio);
  const double value = from + std::clamp(place, 0.0, 1.0) * (to - from);
  return std::clamp(static_cast<int>(std::lround(ratio ? std::exp(value) - 1 : value)), low, high);
}

std::vector<TuneKey> TuneKeys(TuneGroup group) {
  std::vector<TuneKey> keys = AllKeys();
  keys.erase(std::remove_if(keys.begin(), keys.end(), [&](const TuneKey& key) { return key.group != group; }),
             keys.end());
  return keys;
}

std::vector<TuneKey> operator+(std::vector<TuneKey> a, const std::vector<TuneKey>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::vector<int> ValuesOf(const std::vector<TuneKey>& keys, const IsoBand& band) {
  std::vector<int> values;
  values.reserve(keys.size());
  for (const TuneKey& key : keys) values.push_back(key.Get(band));
  return values;
}

void SetValues(const std::vector<TuneKey>& keys, const std::vector<int>& values, IsoBand* band) {
  for (size_t i = 0; i < keys.size(); ++i) keys[i].Set(band, values[i]);
}

std::string TextOf(const std::vector<int>& values) {
  std::string text;
  for (const int value : values) text += (text.empty() ? "" : ",") + std::to_string(value);
  return text;
}

}  // namespace zolt
