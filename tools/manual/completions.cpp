#include "manual/completions.h"

#include <sstream>

#include "common/errors.h"

namespace zolt {
namespace {

std::string Joined(const std::vector<std::string>& words) {
  std::string out;
  for (const std::string& word : words) out += (out.empty() ? "" : " ") + word;
  return out;
}

std::string NamesOf(const CommandOutline& command) {
  std::vector<std::string> names;
  for (const OptionOutline& option : command.options) {
    if (!option.positional) names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return Joined(names);
}

std::string CommandNames(const ProgramOutline& outline) {
  std::vector<std::string> names;
  for (const CommandOutline& command : outline.commands) names.push_back(command.name);
  return Joined(names);
}

// In single quotes for the shell.
std::string Quoted(const std::string& text) {
  std::string out = "'";
  for (const char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

std::string Bash(const ProgramOutline& outline) {
  std::ostringstream out;
  out << "_zolt_burst() {\n  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} "
         "command=${COMP_WORDS[1]} words=\n  COMPREPLY=()\n  case $command:$before in\n";
  for (const CommandOutline& command : outline.commands) {
    for (const OptionOutline& option : command.options) {
      if (option.choices.empty()) continue;
      for (const std::string& name : option.names) {
        out << "    " << command.name << ":" << name << ") COMPREPLY=($(compgen -W "
            << Quoted(Joined(option.choices)) << " -- \"$word\")); return ;;\n";
      }
    }
  }
  out << "  esac\n  if [ \"$COMP_CWORD\" -eq 1 ]; then\n    words="
      << Quoted(CommandNames(outline) + " " + NamesOf(outline.program))
      << "\n  elif [ \"${word:0:1}\" = - ]; then\n"
      << "    case $command in\n";
  for (const CommandOutline& command : outline.commands)
    out << "      " << command.name << ") words=" << Quoted(NamesOf(command)) << " ;;\n";
  out << "    esac\n  fi\n  [ -z \"$words\" ] || COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n}\n"
      << "complete -o default -F _zolt_burst zolt-burst\n";
  return out.str();
}

// Within the brackets of a zsh specification, some characters end it.
std::string ZshText(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

std::string Zsh(const ProgramOutline& outline) {
  std::ostringstream out;
  out << "#compdef zolt-burst\n_zolt_burst() {\n  local -a commands=(\n";
  for (const CommandOutline& command : outline.commands)
    out << "    " << Quoted(command.name + ":" + ZshText(command.description)) << "\n";
  out << "  )\n  if (( CURRENT == 2 )); then\n    _describe command commands\n    return\n  fi\n  case "
         "${words[2]} in\n";
  for (const CommandOutline& command : outline.commands) {
    out << "    " << command.name << ")\n      shift words; (( CURRENT-- ))\n      _arguments \\\n";
    for (const OptionOutline& option : command.options) {
      if (option.positional) continue;
      for (const std::string& name : option.names) {
        std::string spec = name + "[" + ZshText(option.description) + "]";
        if (!option.value.empty())
          spec +=
              ": :" + (option.choices.empty() ? std::string("_files") : "(" + Joined(option.choices) + ")");
        out << "        " << Quoted(spec) << " \\\n";
      }
    }
    out << "        '*: :_files' ;;\n";
  }
  out << "  esac\n}\nif [ \"$funcstack[1]\" = _zolt_burst ]; then _zolt_burst \"$@\"; else compdef "
         "_zolt_burst zolt-burst; "
         "fi\n";
  return out.str();
}

// fish has its own rule for quotes: a backslash stands before them.
std::string FishQuoted(const std::string& text) {
  std::string out = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') out += '\\';
    out += c;
  }
  return out + "'";
}

std::string Fish(const ProgramOutline& outline) {
  std::ostringstream out;
  for (const CommandOutline& command : outline.commands) {
    out << "complete -c zolt-burst -n __fish_use_subcommand -f -a " << command.name << " -d "
        << FishQuoted(command.description) << "\n";
    for (const OptionOutline& option : command.options) {
      if (option.positional) continue;
      out << "complete -c zolt-burst -n '__fish_seen_subcommand_from " << command.name << "'";
      for (const std::string& name : option.names)
        out << (name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1));
      if (!option.value.empty()) out << " -r";
      if (!option.choices.empty()) out << " -f -a " << FishQuoted(Joined(option.choices));
      out << " -d " << FishQuoted(option.description) << "\n";
    }
  }
  return out.str();
}

}  // namespace

std::string Completions(const ProgramOutline& outline, const std::string& shell) {
  if (shell == "bash") return Bash(outline);
  if (shell == "zsh") return Zsh(outline);
  if (shell == "fish") return Fish(outline);
  FailUsage("completions for " + shell + ": there are some for bash, zsh and fish");
}

}  // namespace zolt
