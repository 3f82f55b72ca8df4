#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

namespace zolt {

/// Exit code of a tuning that was stopped by Ctrl-C, as shells have it; its file is written all the same.
constexpr int kExitStopped = 130;

/// Adds the subcommand, which runs inside CLI::App::parse and leaves its exit code in `*exit_code`.
void AddTuneCommand(CLI::App& app, int* exit_code, std::ostream& out);

}  // namespace zolt
