#include <CLI/CLI.hpp>
#include <algorithm>

#include "manual/outline.h"

namespace zolt {
namespace {

// "TEXT:value in {off->2,on->1} OR {2,1}" names the words off and on.
std::vector<std::string> ChoicesOf(const std::string& type) {
  std::vector<std::string> choices;
  const size_t begin = type.find('{');
  const size_t end = type.find('}', begin);
  if (begin == std::string::npos || end == std::string::npos) return choices;
  for (const std::string& part : CLI::detail::split(type.substr(begin + 1, end - begin - 1), ','))
    choices.push_back(part.substr(0, part.find("->")));
  return choices;
}

OptionOutline OutlineOf(const CLI::Option& option) {
  OptionOutline outline;
  outline.positional = option.get_positional();
  outline.description = option.get_description();
  if (outline.positional) {
    outline.names = {option.get_name(true, false)};
  } else {
    for (const std::string& name : option.get_snames()) outline.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) outline.names.push_back("--" + name);
  }
  if (option.get_items_expected_max() == 0) return outline;
  const std::string type = option.get_type_name();
  outline.choices = ChoicesOf(type);
  for (const std::string& choice : outline.choices)
    outline.value += (outline.value.empty() ? "" : "|") + choice;
  if (outline.value.empty()) outline.value = type.substr(0, type.find(':'));
  if (outline.value.empty() || outline.value == "ENUM") outline.value = "VALUE";
  return outline;
}

CommandOutline CommandOf(const CLI::App& app) {
  CommandOutline outline{app.get_name(), app.get_description(), app.get_footer(), {}};
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_group().empty()) outline.options.push_back(OutlineOf(*option));
  }
  return outline;
}

}  // namespace

ProgramOutline OutlineOf(const CLI::App& app) {
  ProgramOutline outline{CommandOf(app), {}};
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!command->get_group().empty()) outline.commands.push_back(CommandOf(*command));
  }
  return outline;
}

}  // namespace zolt
