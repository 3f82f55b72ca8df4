#pragma once

#include <string>

#include "manual/outline.h"

namespace zolt {

/// The script that teaches "bash", "zsh" or "fish" the program's subcommands, options and their words.
/// ToolError (usage) for another shell.
std::string Completions(const ProgramOutline& outline, const std::string& shell);

}  // namespace zolt
