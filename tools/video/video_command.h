#pragma once

#include <ostream>

namespace CLI {
class App;
}

namespace zolt {

/// Adds the subcommand, which runs inside CLI::App::parse and ends with a ToolError when it fails.
void AddVideoCommand(CLI::App& app, std::ostream& err);

}  // namespace zolt
