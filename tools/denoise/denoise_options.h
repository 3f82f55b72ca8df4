#pragma once

#include <map>
#include <optional>
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
  std::string reference = "auto";
  std::string memory_limit = {};  // empty: none
  int megapixels = 512;
  bool quiet = false;
  bool verbose = false;
};

/// The burst as the positional argument FRAMES, and --config, --iso, --reference, --keep-all, --fusion,
/// --mode,
/// --memory-limit, --frames, --start, --size, --sort, --fast-preview, --max-megapixels, -q and -v. `options`
/// has to live as long as `command`.
void AddDenoiseOptions(CLI::App* command, DenoiseOptions* options);

/// What --mode may say, for every subcommand that has it.
const std::map<std::string, int>& ModeNames();

struct PreparedBurst {
  std::vector<AnyPicture> frames;
  std::vector<std::string> frame_files;  // the file of each
  DenoiseSettings settings;              // nothing left open
  std::optional<int> told_iso;           // for information: the measured noise decides
  std::string told_by;                   // "burst.json" or "exif"
  std::vector<Metadata> metadata = {};   // of each frame, as are these: see BurstFrames
  std::vector<ShotFacts> shots = {};
  std::vector<std::string> files = {};
  std::vector<std::string> notes = {};
};

/// "auto" as `automatic`, or a whole number from `lowest` on. ToolError (usage) that names `option`.
int ParseNumberOrAuto(const std::string& text, const std::string& option, int automatic, int lowest);

/// What the user should know of the burst, and with -v of each frame, a line each; nothing with -q.
void TellNotes(const DenoiseOptions& options, const PreparedBurst& burst, std::ostream& err);

/// Loads the burst and settles what the options left open. ToolError as LoadBurst, and (usage) for options
/// that make no sense. `rgb`: the result goes where chroma of full size is kept, so frames that have it keep
/// it as far as the mode works with it.
PreparedBurst PrepareBurst(const DenoiseOptions& options, bool rgb);

}  // namespace zolt
