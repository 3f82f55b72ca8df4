#include "burst/tuning.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "config/xml_document.h"
#include "tuning_text.h"
#include "zolt_burst.h"

namespace zolt {
namespace {

constexpr size_t kLargestFile = 16 << 20;

bool ReadFile(const char* folder, std::string* text) {
  std::string name = folder;
  if (!name.empty() && name.back() != '/') name += '/';
  std::ifstream file(name + "multiframe.xml", std::ios::binary);
  for (std::istreambuf_iterator<char> it(file), end; it != end && text->size() <= kLargestFile; ++it) {
    text->push_back(*it);
  }
  return file.good() || file.eof();
}

const char* BuiltIn(TuningKind kind) {
  switch (kind) {
    case TuningKind::kFused:
      return kFusedTuning;
    case TuningKind::kPlain:
      return kPlainTuning;
    case TuningKind::kFine:
      return kFineTuning;
  }
  return nullptr;
}

}  // namespace

int32_t LoadTuning(const char* folder, TuningKind kind, MfConfig* config) {
  std::string text;
  if (folder == nullptr) {
    text = BuiltIn(kind);
  } else if (!ReadFile(folder, &text) || text.size() > kLargestFile) {
    return ZOLT_BURST_BAD_TUNING;
  }
  XmlDocument document;
  if (!document.LoadBytes(text.data(), text.size())) return ZOLT_BURST_BAD_TUNING;
  FillConfig(config, document);
  return config->NoiseReductionFlag != 0 ? ZOLT_BURST_OK : ZOLT_BURST_BAD_TUNING;
}

const MfConfig& Tunings::Of(TuningKind kind) const {
  return kind == TuningKind::kFused ? fused : kind == TuningKind::kPlain ? plain : fine;
}

int32_t LoadTunings(const char* folder, Tunings* tunings) {
  int32_t result = LoadTuning(folder, TuningKind::kFused, &tunings->fused);
  if (result == ZOLT_BURST_OK && folder != nullptr) {
    tunings->plain = tunings->fine = tunings->fused;
    return result;
  }
  if (result == ZOLT_BURST_OK) result = LoadTuning(nullptr, TuningKind::kPlain, &tunings->plain);
  if (result == ZOLT_BURST_OK) result = LoadTuning(nullptr, TuningKind::kFine, &tunings->fine);
  return result;
}

TuningKind KindOf(int32_t mode, bool fused) {
  if (fused) return TuningKind::kFused;
  return mode == ZOLT_BURST_FINE ? TuningKind::kFine : TuningKind::kPlain;
}

int32_t IsoOfBand(const MfConfig& config, int band) {
  if (band < kIsoBands - 1) return std::max(0, config.bands[band].isovalue);
  int32_t highest = 0;
  for (const IsoBand& each : config.bands) highest = std::max(highest, each.isovalue);
  return highest < INT32_MAX ? highest + 1 : highest;
}

}  // namespace zolt
