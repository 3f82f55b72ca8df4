#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "denoise/burst_frames.h"
#include "denoise/denoise_run.h"

namespace CLI {
class App;
}

namespace zolt {

/// What the user chose, for every subcommand that takes a burst through the library.
struct DenoiseOptions {
  BurstSource source;
  DenoiseSettings settings;
  std::string iso = "auto";
  int megapixels = 512;
  bool quiet = false;
  bool verbose = false;
};

/// The burst as the positional argument FRAMES, and --config, --iso, --format, --fusion, --halved, --frames,
/// --start, --size, --sort, --fast-preview, --max-megapixels, -q and -v. `options` has to live as long as
/// `command`.
void AddDenoiseOptions(CLI::App* command, DenoiseOptions* options);

struct PreparedBurst {
  std::vector<YuvPicture> frames;
  DenoiseSettings settings;  // nothing left open
  std::string iso_source;    // "--iso", "burst.json", "exif" or "default"
  Metadata metadata = {};    // of the reference, as are these: see BurstFrames
  std::vector<ShotFacts> shots = {};
  std::vector<std::string> files = {};
  std::vector<std::string> notes = {};
};

/// What the user should know of the burst, and with -v of each frame, a line each; nothing with -q.
void TellNotes(const DenoiseOptions& options, const PreparedBurst& burst, std::ostream& err);

/// Loads the burst and settles what the options left open. ToolError as LoadBurst, and (usage) for options
/// that don't go together.
PreparedBurst PrepareBurst(const DenoiseOptions& options);

}  // namespace zolt
