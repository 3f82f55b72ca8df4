#pragma once

#include <ostream>

namespace CLI {
class App;
}

namespace zolt {

/// Adds the subcommand, which runs inside CLI::App::parse and ends with a ToolError when it fails. Results go
/// to `out`, remarks to `err`.
void AddDenoiseCommand(CLI::App& app, std::ostream& out, std::ostream& err);

}  // namespace zolt
