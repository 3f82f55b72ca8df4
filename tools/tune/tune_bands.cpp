#include "tune/tune_bands.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <limits>
#include <sstream>

#include "common/parallel.h"
#include "common/stop_request.h"
#include "config/iso_selection.h"
#include "tune/tune_search.h"

namespace zolt {
namespace {

// Where the state keeps values of one kind.
constexpr char kStartPlace[] = "start";
constexpr char kMergedPlace[] = "merged";
constexpr char kResultPlace[] = "result";
constexpr char kFusedPlace[] = "fused";

std::string Decibels(double value) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(2) << value;
  return text.str();
}

std::string BandName(int band) {
  return "ISO" + std::to_string(band + 1);
}

std::string BandRange(int band, const MfConfig& config) {
  if (band == kIsoBands - 1) return "above ISO " + std::to_string(config.bands[band - 1].isovalue);
  return "up to ISO " + std::to_string(config.bands[band].isovalue);
}

// The ISO that a band's values stand for when others are made from them; the last band's isovalue may be
// unset.
double CentreIso(int band, const MfConfig& config) {
  const int iso = config.bands[band].isovalue;
  if (band < kIsoBands - 1) return std::max(1, iso);
  return std::max(2.0 * config.bands[band - 1].isovalue, double(iso));
}

TuneScore FirstFrames(const std::vector<const TuneBurst*>& bursts, int border) {
  std::vector<TuneScore> scores;
  for (const TuneBurst* burst : bursts) {
    scores.emplace_back();
    scores.back().result = TuneJudge(*burst, border).Judge(burst->first(), false);
  }
  return MeanScore(scores);
}

}  // namespace

struct TuneBands::Phase {
  const char* name;
  int band;
  TuneWorkers* workers;
  const char* place;
  std::vector<TuneKey> keys;
  double first_step;
  int evaluations;
};

TuneBands::TuneBands(const TuneSettings& settings, const std::vector<TuneBurst>& bursts,
                     const MfConfig& start, TuneState* state, std::ostream& out)
    : settings_(settings), bursts_(bursts), config_(start), state_(state), out_(out) {
  if (settings_.jobs <= 0) settings_.jobs = UsableProcessors();
  for (int band = 0; band < kIsoBands; ++band)
    notes_.bands[band] = BandRange(band, config_) + ": as in the file that the tuning started from";
}

// But for the fusion's. Fine mode has a filter of its own, which no key turns.
std::vector<TuneKey> TuneBands::TunedKeys() const {
  const std::vector<TuneKey> ghost = GhostKeys(settings_.fusion);
  return fine() ? ghost : ghost + LumaKeys() + ChromaKeys();
}

TuneBands::Bursts TuneBands::BurstsOf(int band, bool fused) const {
  Bursts chosen;
  for (const TuneBurst& burst : bursts_) {
    if (burst.fused == fused && BandOfIso(burst.iso, config_) == band) chosen.push_back(&burst);
  }
  return chosen;
}

TuneWorkers TuneBands::StartWorkers(const Bursts& bursts) const {
  return {bursts, settings_.border, settings_.weights.ssim > 0, settings_.jobs};
}

void TuneBands::Show(const std::string& text) const {
  if (isatty(STDERR_FILENO) == 1) std::fprintf(stderr, "\r%s\033[K", text.c_str());
}

// The mean over the bursts of what the tuning is for; from the state if it is known already.
double TuneBands::ValueOf(const MfConfig& config, const std::string& place, int band, TuneWorkers* workers) {
  const bool merged = place == kMergedPlace;
  const IsoBand& values = config.bands[band];
  std::string point = TextOf(ValuesOf(GhostKeys(settings_.fusion), values));
  if (!merged) {
    const auto rest = LumaKeys() + ChromaKeys() + FusionKeys();
    point += "," + TextOf(ValuesOf(rest, values)) + "," + std::to_string(values.lumaMed);
  }
  const std::string band_place = BandName(band) + " " + place;
  if (const auto known = state_->Find(band_place, point)) return *known;
  const std::vector<TuneScore> scores =
      workers->Evaluate(config, merged ? TuneWorkers::Depth::kMerged : ResultDepth());
  double sum = 0;
  for (size_t i = 0; i < scores.size(); ++i) {
    const double below = merged_luma_.empty() ? 0 : merged_luma_[i];
    sum += Objective(scores[i].result, below, settings_.weights);
  }
  const double value = sum / static_cast<double>(scores.size());
  state_->Note(band_place, point, value);
  return value;
}

// From here on a result must not fall below these merges.
void TuneBands::KeepMerged(TuneWorkers* workers) {
  merged_luma_.clear();
  for (const TuneScore& score : workers->Evaluate(config_, TuneWorkers::Depth::kMerged))
    merged_luma_.push_back(score.merged.psnr_luma);
}

void TuneBands::RunPhase(const Phase& phase) {
  if (stopped_) return;
  IsoBand* band = &config_.bands[phase.band];
  int looked = 0;
  double highest = -std::numeric_limits<double>::infinity();
  const auto value_at = [&](const std::vector<int>& point) {
    MfConfig config = config_;
    SetValues(phase.keys, point, &config.bands[phase.band]);
    const double value = ValueOf(config, phase.place, phase.band, phase.workers);
    highest = std::max(highest, value);
    Show(BandName(phase.band) + " " + phase.name + " " + std::to_string(++looked) + " of " +
         std::to_string(phase.evaluations) + ", best " + Decibels(highest));
    return value;
  };
  const SearchPlan plan = {phase.keys, ValuesOf(phase.keys, *band), phase.first_step, phase.evaluations};
  const SearchEnd end = FindHighest(plan, value_at, &StopRequest::Heard);
  if (looked > 0) SetValues(phase.keys, end.best, band);
  stopped_ = end.stopped;
}

// The band starts as in the file, or as the band before it came out, whichever is better.
void TuneBands::ChooseStart(int band, TuneWorkers* workers) {
  const std::vector<TuneKey> keys = TunedKeys();
  IsoBand& own = config_.bands[band];
  SetValues(keys, ValuesOf(keys, own), &own);  // on the grid of the search
  int before = band - 1;
  while (before >= 0 && !tuned_[before]) --before;
  if (before < 0) return;
  MfConfig other = config_;
  SetValues(keys, ValuesOf(keys, config_.bands[before]), &other.bands[band]);
  const auto value = [&](const MfConfig& config) { return ValueOf(config, kStartPlace, band, workers); };
  if (value(other) > value(config_)) config_ = other;
}

void TuneBands::TryMedian(int band, TuneWorkers* workers) {
  if (stopped_) return;
  MfConfig other = config_;
  other.bands[band].lumaMed = config_.bands[band].lumaMed != 0 ? 0 : 1;
  const auto value = [&](const MfConfig& config) { return ValueOf(config, kResultPlace, band, workers); };
  if (value(other) > value(config_)) config_ = other;
}

void TuneBands::TunePlain(int band, const Bursts& bursts) {
  TuneWorkers workers = StartWorkers(bursts);
  const TuneScore before = MeanScore(workers.Evaluate(config_, TuneWorkers::Depth::kResult));
  const int fifth = std::max(1, settings_.evaluations / 5);
  merged_luma_.clear();
  ChooseStart(band, &workers);
  RunPhase({"ghost keys", band, &workers, kMergedPlace, GhostKeys(settings_.fusion), 0.2, fifth});
  KeepMerged(&workers);
  // The filter's luma and chroma don't act on each other: two short searches find more than a long one.
  RunPhase({"luma keys", band, &workers, kResultPlace, LumaKeys(), 0.2, 2 * fifth});
  RunPhase({"chroma keys", band, &workers, kResultPlace, ChromaKeys(), 0.2, fifth});
  TryMedian(band, &workers);
  RunPhase({"all keys", band, &workers, kResultPlace, TunedKeys(), 0.06, fifth});
  const TuneScore after = MeanScore(workers.Evaluate(config_, TuneWorkers::Depth::kResult));
  tuned_[band] = true;
  Tell(band, bursts, before, after);
}

// There is no merge that a result could fall below: what the merge loses, fine mode takes from the reference.
void TuneBands::TuneFine(int band, const Bursts& bursts) {
  TuneWorkers workers = StartWorkers(bursts);
  const TuneScore before = MeanScore(workers.Evaluate(config_, TuneWorkers::Depth::kFine));
  ChooseStart(band, &workers);
  RunPhase(
      {"ghost keys", band, &workers, kResultPlace, GhostKeys(settings_.fusion), 0.2, settings_.evaluations});
  TuneScore after = MeanScore(workers.Evaluate(config_, TuneWorkers::Depth::kFine));
  after.merged = MeanScore(workers.Evaluate(config_, TuneWorkers::Depth::kMerged)).merged;
  tuned_[band] = true;
  Tell(band, bursts, before, after);
}

void TuneBands::TuneFusion(int band, const Bursts& bursts) {
  if (stopped_) return;
  TuneWorkers workers = StartWorkers(bursts);
  merged_luma_.clear();
  const TuneScore before = MeanScore(workers.Evaluate(config_, TuneWorkers::Depth::kResult));
  RunPhase({"fusion keys", band, &workers, kFusedPlace, FusionKeys(), 0.2, settings_.evaluations});
  const TuneScore after = MeanScore(workers.Evaluate(config_, TuneWorkers::Depth::kResult));
  const std::string text = "fusion tuned on " + std::to_string(bursts.size()) + " bursts: luma " +
                           Decibels(before.result.psnr_luma) + " to " + Decibels(after.result.psnr_luma) +
                           " dB, chroma " + Decibels(before.result.psnr_chroma) + " to " +
                           Decibels(after.result.psnr_chroma) + " dB";
  notes_.bands[band] += "; " + text;
  Show("");
  out_ << BandName(band) << ": " << text << std::endl;
}

// One value for all bands, so all fused bursts have a say.
void TuneBands::TuneDetailMin() {
  Bursts bursts;
  for (const TuneBurst& burst : bursts_) {
    if (burst.fused) bursts.push_back(&burst);
  }
  if (bursts.empty() || stopped_) return;
  TuneWorkers workers = StartWorkers(bursts);
  int best = config_.detailMin;
  double highest = -std::numeric_limits<double>::infinity();
  for (int value = 0; value <= 10; ++value) {
    stopped_ = StopRequest::Heard();
    if (stopped_) break;
    MfConfig config = config_;
    config.detailMin = value;
    double sum = 0;
    for (const TuneScore& score : workers.Evaluate(config, TuneWorkers::Depth::kResult))
      sum += Objective(score.result, 0, settings_.weights);
    if (sum > highest) {
      highest = sum;
      best = value;
    }
  }
  config_.detailMin = best;
}

void TuneBands::Tell(int band, const Bursts& bursts, const TuneScore& before, const TuneScore& after) {
  const TuneScore first = FirstFrames(bursts, settings_.border);
  int fewest = bursts.front()->total(), most = fewest;
  for (const TuneBurst* burst : bursts) {
    fewest = std::min(fewest, burst->total());
    most = std::max(most, burst->total());
  }
  const auto figures = [&](const char* name, double TuneFigures::*figure) {
    return std::string(name) + " " + Decibels(first.result.*figure) + " dB first frame, " +
           Decibels(after.merged.*figure) + " merged, " + Decibels(before.result.*figure) +
           " result before the tuning, " + Decibels(after.result.*figure) + " after";
  };
  const std::string text = BandRange(band, config_) + (stopped_ ? ": partly tuned on " : ": tuned on ") +
                           std::to_string(bursts.size()) + " bursts of " + std::to_string(fewest) + " to " +
                           std::to_string(most) + " frames. PSNR of " +
                           figures("luma", &TuneFigures::psnr_luma) + "; of " +
                           figures("chroma", &TuneFigures::psnr_chroma);
  notes_.bands[band] = text;
  Show("");
  out_ << BandName(band) << ", " << text << std::endl;
}

// Bands that no burst reached, between two that were tuned: linear in the logarithm of ISO.
void TuneBands::FillGaps() {
  const std::vector<TuneKey> keys = TunedKeys();
  for (int band = 0; band < kIsoBands; ++band) {
    int below = band, above = band;
    while (below >= 0 && !tuned_[below]) --below;
    while (above < kIsoBands && !tuned_[above]) ++above;
    const bool waits = !BurstsOf(band, false).empty();
    if (below == band || below < 0 || above == kIsoBands || waits) continue;
    const double from = std::log(CentreIso(below, config_));
    const double to = std::log(CentreIso(above, config_));
    const double share =
        std::clamp((std::log(CentreIso(band, config_)) - from) / std::max(to - from, 1e-9), 0.0, 1.0);
    for (const TuneKey& key : keys) {
      const int a = key.Get(config_.bands[below]);
      const int b = key.Get(config_.bands[above]);
      key.Set(&config_.bands[band], static_cast<int>(std::lround(a + share * (b - a))));
    }
    if (!fine()) config_.bands[band].lumaMed = config_.bands[share < 0.5 ? below : above].lumaMed;
    notes_.bands[band] = BandRange(band, config_) + ": no bursts; interpolated from " + BandName(below) +
                         " and " + BandName(above) + ", linear in the logarithm of ISO";
  }
}

void TuneBands::TuneBand(int band) {
  const Bursts plain = BurstsOf(band, false);
  const Bursts fused = BurstsOf(band, true);
  if (!plain.empty()) fine() ? TuneFine(band, plain) : TunePlain(band, plain);
  if (!fused.empty()) TuneFusion(band, fused);
}

bool TuneBands::Run() {
  for (int band = 0; band < kIsoBands && !stopped_; ++band) TuneBand(band);
  TuneDetailMin();
  FillGaps();
  Show("");
  state_->Save();
  return !stopped_;
}

}  // namespace zolt
