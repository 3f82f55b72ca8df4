#pragma once

#include <ostream>

namespace CLI {
class App;
}

namespace zolt {

/// Adds the subcommand, which runs inside CLI::App::parse and leaves its exit code in `*exit_code`. A tuning
/// that was stopped has written its file all the same.
void AddTuneCommand(CLI::App& app, int* exit_code, std::ostream& out);

}  // namespace zolt
