#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "config/configuration.h"
#include "media/picture.h"
#include "session/debug_observer.h"
#include "tune/tune_burst.h"
#include "zolt_mfdenoise.h"

namespace zolt {

/// One burst through the library under one tuning after another. The merged frames are kept, so that a tuning
/// that differs in its spatial keys alone costs no more than the filter. One thread of a process at a time.
class TunePipeline {
 public:
  /// `burst` outlives this. `config_folder` opens the session; its values are not used. LibraryRefused.
  TunePipeline(const TuneBurst& burst, const std::string& config_folder);
  ~TunePipeline();
  TunePipeline(const TunePipeline&) = delete;
  TunePipeline& operator=(const TunePipeline&) = delete;

  /// The frames folded together, before any spatial filter; not for a fused burst. LibraryRefused.
  YuvPicture Merged(const MfConfig& config);
  /// What the library's functions return for the burst, byte for byte. LibraryRefused.
  YuvPicture Finished(const MfConfig& config);

 private:
  struct EndSession {
    void operator()(MfSession* session) const { zolt_mfUnInitialize(session); }
  };
  struct Kept {
    std::vector<uint8_t> image;    // planar, merged
    std::vector<uint8_t> weights;  // frames folded per pixel
    int folded = 0;
    uint8_t peak_level = 0;
    uint8_t luma_level = 0;
  };

  static void Hear(void* user, const FrameObservation& seen);
  void RunAll(const MfConfig& config);
  void MergeUnder(const MfConfig& config);
  void Filter(const MfConfig& config, std::vector<uint8_t>* image);
  YuvPicture PictureOf(const std::vector<uint8_t>& image) const;

  const TuneBurst& burst_;
  std::unique_ptr<MfSession, EndSession> session_;
  std::vector<uint8_t> result_;
  std::vector<int32_t> merged_under_;  // the keys that decided what is kept; empty: nothing is
  Kept kept_;
  std::vector<uint8_t> scratch_;
};

}  // namespace zolt
