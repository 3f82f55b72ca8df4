#pragma once

#include <array>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "config/configuration.h"
#include "tune/tune_burst.h"
#include "tune/tune_file.h"
#include "tune/tune_keys.h"
#include "tune/tune_score.h"
#include "tune/tune_state.h"
#include "tune/tune_workers.h"
#include "zolt_burst.h"

namespace zolt {

struct TuneSettings {
  std::string config_folder;  // of the file that the search starts from; empty: the built-in one
  TuneWeights weights;
  int border = 16;
  int evaluations = 200;  // of each band
  int jobs = 0;           // 0: one for each CPU
  bool fusion = false;
  int mode = ZOLT_BURST_FAST;  // whose result counts
};

/// Tunes one band after the other: ghost keys on the merge alone, then the spatial keys, then all of them
/// together, and last the fusion's. Of fine mode the ghost keys alone, on its results.
class TuneBands {
 public:
  /// All but the settings outlive this.
  TuneBands(const TuneSettings& settings, const std::vector<TuneBurst>& bursts, const MfConfig& start,
            TuneState* state, std::ostream& out);

  /// False if it was stopped on the way; what was reached stands in config().
  bool Run();

  const MfConfig& config() const { return config_; }
  const TuneFileNotes& notes() const { return notes_; }

 private:
  using Bursts = std::vector<const TuneBurst*>;
  struct Phase;

  void TuneBand(int band);
  void TunePlain(int band, const Bursts& bursts);
  void TuneFine(int band, const Bursts& bursts);
  void TuneFusion(int band, const Bursts& bursts);
  void TuneDetailMin();
  void ChooseStart(int band, TuneWorkers* workers);
  void RunPhase(const Phase& phase);
  void KeepMerged(TuneWorkers* workers);
  void TryMedian(int band, TuneWorkers* workers);
  double ValueOf(const MfConfig& config, const std::string& place, int band, TuneWorkers* workers);
  void Tell(int band, const Bursts& bursts, const TuneScore& before, const TuneScore& after);
  void FillGaps();
  void Show(const std::string& text) const;
  bool fine() const { return settings_.mode == ZOLT_BURST_FINE; }
  TuneWorkers::Depth ResultDepth() const {
    return fine() ? TuneWorkers::Depth::kFine : TuneWorkers::Depth::kResult;
  }
  std::vector<TuneKey> TunedKeys() const;
  TuneWorkers StartWorkers(const Bursts& bursts) const;
  Bursts BurstsOf(int band, bool fused) const;

  TuneSettings settings_;
  const std::vector<TuneBurst>& bursts_;
  MfConfig config_;
  TuneState* state_;
  std::ostream& out_;
  TuneFileNotes notes_;
  std::array<bool, kIsoBands> tuned_{};
  std::vector<double> merged_luma_;  // of each burst at hand; empty while there is nothing to fall below
  bool stopped_ = false;
};

}  // namespace zolt
