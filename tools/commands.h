#pragma once

#include <ostream>

namespace CLI {
class App;
}

namespace zolt {

/// Each adds its subcommand, which runs inside CLI::App::parse and ends with a ToolError when it fails.
/// Results go to `out`.
void AddDenoiseCommand(CLI::App& app, std::ostream& out);
void AddSimulateCommand(CLI::App& app, std::ostream& out);
void AddCompareCommand(CLI::App& app, std::ostream& out);
void AddMeasureCommand(CLI::App& app, std::ostream& out);
void AddReportCommand(CLI::App& app, std::ostream& out);

/// The same, and the exit code goes to `*exit_code`: some of the bursts may have failed.
void AddBatchCommand(CLI::App& app, int* exit_code, std::ostream& out);

/// The whole program: parses, runs, prints errors to `err`, returns the exit code (errors.h).
int RunZoltBurst(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace zolt
