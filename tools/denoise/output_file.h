#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "media/media_write.h"

namespace CLI {
class App;
}

namespace zolt {

/// The file that a burst's result goes to.
struct OutputOptions {
  std::string path;    // "-": standard output
  std::string format;  // empty: by the extension
  int quality = kDefaultQuality;
  bool overwrite_input = false;
  MetadataChoice metadata;
};

/// -o, --output-format, --quality, -y, --strip and --no-gps. `options` has to live as long as `command`.
void AddOutputOptions(CLI::App* command, OutputOptions* options);

/// What would only come out after the work is done: ToolError for an unknown format, a missing folder, and
/// for an output that is one of the files that the user named.
void CheckOutput(const OutputOptions& options, const std::vector<std::string>& inputs);

/// ToolError (usage) if the output is one of `inputs`, under whatever name, unless the user wants that.
void CheckNoInput(const OutputOptions& options, const std::vector<std::string>& inputs);

/// Writes the result with what the reference frame carried. A path "-" goes to `out`. Remarks go to
/// `remarks`, unless null.
void WriteResult(const OutputOptions& options, const AnyPicture& picture, const Metadata& reference,
                 const std::vector<ShotFacts>& shots, std::ostream& out, std::ostream* remarks);

}  // namespace zolt
