#include "manual/manual_page.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace zolt {
namespace {

// Backslashes and hyphens mean something to roff, and so does a dot or an apostrophe at the begin of a line.
std::string Escaped(const std::string& text) {
  std::string out;
  bool line_begins = true;
  for (const char c : text) {
    if (line_begins && (c == '.' || c == '\'')) out += "\\&";
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
    line_begins = c == '\n';
  }
  return out;
}

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

void WriteOption(const OptionOutline& option, std::ostream& out) {
  out << ".TP\n.B ";
  for (size_t i = 0; i < option.names.size(); ++i) out << (i > 0 ? ", " : "") << Escaped(option.names[i]);
  if (!option.positional && !option.value.empty()) out << " \\fI" << Escaped(option.value) << "\\fR";
  out << "\n" << Escaped(option.description) << "\n";
}

// Help's own lines, with examples, are laid out already.
void WriteFooter(const std::string& footer, std::ostream& out) {
  if (!footer.empty()) out << ".PP\n.nf\n" << Escaped(footer) << "\n.fi\n";
}

}  // namespace

std::string ManualPage(const ProgramOutline& outline) {
  std::ostringstream out;
  const CommandOutline& program = outline.program;
  out << ".TH ZOLT\\-BURST 1 \"\" \"zolt-burst " << ZOLT_VERSION
      << "\" \"User Commands\"\n.SH NAME\nzolt\\-burst \\- " << Escaped(program.description)
      << "\n.SH SYNOPSIS\n.B zolt\\-burst\n.I SUBCOMMAND\n[\\fIOPTIONS\\fR]\n"
      << ".SH SUBCOMMANDS\n";
  for (const CommandOutline& command : outline.commands)
    out << ".TP\n.B " << Escaped(command.name) << "\n" << Escaped(command.description) << "\n";
  out << ".SH OPTIONS\n";
  for (const OptionOutline& option : program.options) WriteOption(option, out);
  WriteFooter(program.footer, out);
  for (const CommandOutline& command : outline.commands) {
    out << ".SH " << Escaped(Upper(command.name)) << "\n" << Escaped(command.description) << "\n";
    for (const OptionOutline& option : command.options) WriteOption(option, out);
    WriteFooter(command.footer, out);
  }
  return out.str();
}

}  // namespace zolt
