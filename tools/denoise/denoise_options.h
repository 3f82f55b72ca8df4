#pragma once

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
};

/// The burst as the positional argument FRAMES, and --config, --iso, --format, --fusion, --halved, --frames,
/// --start and --size. `options` has to live as long as `command`.
void AddDenoiseOptions(CLI::App* command, DenoiseOptions* options);

struct PreparedBurst {
  std::vector<YuvPicture> frames;
  DenoiseSettings settings;  // nothing left open
  std::string iso_source;    // "--iso", "burst.json", "exif" or "default"
};

/// Loads the burst and settles what the options left open. ToolError as LoadBurst, and (usage) for options
/// that don't go together.
PreparedBurst PrepareBurst(const DenoiseOptions& options);

}  // namespace zolt
