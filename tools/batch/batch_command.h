#pragma once

#include <ostream>

namespace CLI {
class App;
}

namespace zolt {

/// Adds the subcommand, which runs inside CLI::App::parse and leaves its exit code in `*exit_code`: some of
/// the bursts may have failed. Results go to `out`.
void AddBatchCommand(CLI::App& app, int* exit_code, std::ostream& out);

}  // namespace zolt
