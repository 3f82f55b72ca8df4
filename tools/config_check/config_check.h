#pragma once

#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zolt {

/// How a tuning file came out; also the exit code of 'zolt-burst config-check'.
enum ConfigVerdict : int {
  kConfigFine = 0,
  kConfigUnreadable = 2,   ///< there is no such file, or it can't be read
  kConfigRefused = 3,      ///< the library does not load it
  kConfigQuestionable = 4  ///< it loads, but something in it hardly means what its author wanted
};

/// One key as the library will take it.
struct CheckedKey {
  std::string path;
  std::vector<double> values;  ///< one, or the 40 entries of a list
  double fallback;             ///< of each entry
  bool found;                  ///< false: the value is the default
  int low, high;               ///< useful range
  std::string meaning;
};

struct ConfigFinding {
  std::string kind;     ///< a word for scripts, like "unknown-key"
  std::string path;     ///< where, or empty for the file as a whole
  std::string message;  ///< what is wrong and what follows from it
  std::string suggestion;
};

struct ConfigReport {
  ConfigVerdict verdict = kConfigFine;
  std::vector<CheckedKey> keys;  ///< all of them if the file loads, otherwise none
  std::vector<ConfigFinding> findings;

  int found() const;
};

/// Reads a tuning file just as the library does, and looks for what would go unnoticed there.
ConfigReport CheckConfig(const std::string& file);

/// Checks a file and prints the report, as a table or as JSON. Returns the verdict.
int RunConfigCheck(const std::string& file, bool json, std::ostream& out = std::cout);

/// Adds the subcommand, which runs inside CLI::App::parse and leaves its verdict in `*exit_code`.
void AddConfigCheckCommand(CLI::App& app, int* exit_code, std::ostream& out = std::cout);

}  // namespace zolt
