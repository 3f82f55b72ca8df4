#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zolt {

/// What --help tells, taken apart: the manual page and the shells' completions are made of the same texts.
struct OptionOutline {
  std::vector<std::string> names;    // "-o", "--output"; of a positional argument its one name
  std::string value;                 // what stands behind it, "TEXT" or so; empty for a flag
  std::vector<std::string> choices;  // if only some words are allowed
  std::string description;
  bool positional = false;
};

struct CommandOutline {
  std::string name;
  std::string description;
  std::string footer;
  std::vector<OptionOutline> options;
};

struct ProgramOutline {
  CommandOutline program;
  std::vector<CommandOutline> commands;
};

ProgramOutline OutlineOf(const CLI::App& app);

}  // namespace zolt
