#include "tune/tune_keys.h"

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

// Of motion, in grey levels. Above the highest, dark things that move would smear, which simulated bursts,
// whose object is bright, don't tell.
struct MotionLevels {
  int lowest_luma, lowest_chroma;
  int highest_luma = 16, highest_chroma = 20;
};

// The fusion follows a brighter last frame in part, and what stays between them must not look like motion:
// with 4 levels it was given up in two of twelve bursts, with 3 in five. Parallax and changing light, which
// simulated bursts lack, count as motion below 10: of a real hand-held burst of eight frames, 8 levels lose
// one frame, 6 lose four.
constexpr MotionLevels kForFusion = {10, 7};
// Bursts that are only merged may have less. With 1 level of luma the search ends at a cliff: noise counts as
// motion, and at ISO 200 whole frames of one burst came in or went out, for 3 dB more or 2.5 dB less.
constexpr MotionLevels kForMerging = {3, 1};

// The library drops the low four bits of these, so only whole steps of 16 differ.
TuneKey Ghost(const char* name, int low, int high, bool ratio, int32_t IsoBand::*member) {
  return {name, low, high, 16, ratio, member, -1};
}

TuneKey Plain(const char* name, int low, int high, bool ratio, int32_t IsoBand::*member) {
  return {name, low, high, 1, ratio, member, -1};
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

std::vector<TuneKey> GhostKeys(bool with_fusion) {
  const MotionLevels levels = with_fusion ? kForFusion : kForMerging;
  return {Ghost("lumaTH_Low", levels.lowest_luma, levels.highest_luma, true, &IsoBand::lumaTH_Low),
          Ghost("lumaTH_High", levels.lowest_luma, levels.highest_luma, true, &IsoBand::lumaTH_High),
          Ghost("lumaNoiseTH", 0, 255, false, &IsoBand::lumaNoiseTH),
          Ghost("chromaTH_Low", levels.lowest_chroma, levels.highest_chroma, true, &IsoBand::chromaTH_Low),
          Ghost("chromaTH_High", levels.lowest_chroma, levels.highest_chroma, true, &IsoBand::chromaTH_High),
          Ghost("chromaNoiseTH", 96, 192, false, &IsoBand::chromaNoiseTH)};
}

std::vector<TuneKey> LumaKeys() {
  return {Plain("lumaLF", -100, -70, false, &IsoBand::lumaLF),
          Plain("lumaHF1", -128, 0, false, &IsoBand::lumaHF1),
          Plain("lumaHF2", -128, 0, false, &IsoBand::lumaHF2),
          Plain("lumaHF3", -128, 0, false, &IsoBand::lumaHF3),
          // Near 0 the share jumps back to all of it.
          Plain("detail", -128, -12, false, &IsoBand::detail)};
}

std::vector<TuneKey> ChromaKeys() {
  // Higher, the stronger filter for few frames would wrap round to none.
  std::vector<TuneKey> keys = {Plain("chromaS", -100, -40, false, &IsoBand::chromaS)};
  static const char* const kNames[kScales] = {"chromaNrLUT scale 1", "chromaNrLUT scale 2",
                                              "chromaNrLUT scale 3", "chromaNrLUT scale 4",
                                              "chromaNrLUT scale 5"};
  for (int scale = 0; scale < kScales; ++scale)
    keys.push_back({kNames[scale], 0, 400, 1, true, nullptr, scale});
  return keys;
}

std::vector<TuneKey> FusionKeys() {
  return {Plain("fusion_low", 0, 569, true, &IsoBand::fusion_low),
          Plain("fusion_high", 0, 2048, true, &IsoBand::fusion_high),
          Plain("detailRestore", 0, 128, false, &IsoBand::detailRestore),
          Plain("SaturationGain", 0, 32, false, &IsoBand::SaturationGain),
          // More leaves specks along hard edges, which a mean over the picture hardly sees.
          Plain("boostDetail", 0, 1, false, &IsoBand::boostDetail)};
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
