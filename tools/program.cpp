#include "program.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "batch/batch_command.h"
#include "common/errors.h"
#include "compare/compare_command.h"
#include "config_check/config_check.h"
#include "denoise/denoise_command.h"
#include "group/group_command.h"
#include "manual/completions.h"
#include "manual/manual_page.h"
#include "manual/outline.h"
#include "media/libraries.h"
#include "report/report_command.h"
#include "simulate/simulate_command.h"
#include "tune/measure_command.h"
#include "tune/tune_command.h"
#include "video/video_command.h"

namespace zolt {
namespace {

constexpr const char* kFooter =
    R"(Exit codes: 0 done, 1 bad usage, 2 a file can't be read or written, 3 the library refused; config-check
also has 4, findings, and batch 4, some bursts failed. 130: stopped by Ctrl-C.
'zolt-burst SUBCOMMAND --help' has examples.)";

std::string VersionText() {
  std::string text = std::string("zolt-burst ") + ZOLT_VERSION + "\nReads and writes files with";
  const std::vector<std::string> libraries = MediaLibraries();
  for (size_t i = 0; i < libraries.size(); ++i) text += (i > 0 ? ", " : " ") + libraries[i];
  return text +
         "\nThe noise reduction's libraries are under Apache-2.0. This program, with the libraries above, "
         "may be passed on"
         "\nunder GPL-3.0-or-later only.";
}

// What packages install; made of the texts of --help.
void AddManualCommands(CLI::App& app, std::ostream& out) {
  app.add_subcommand("manual", "Print the page for man(1)")->group("")->callback([&] {
    out << ManualPage(OutlineOf(app));
  });
  CLI::App* completions = app.add_subcommand("completions", "Print the completions for a shell")->group("");
  auto shell = std::make_shared<std::string>();
  completions->add_option("SHELL", *shell, "bash, zsh or fish")->required();
  completions->callback([&app, &out, shell] { out << Completions(OutlineOf(app), *shell); });
}

}  // namespace

int RunZoltBurst(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  CLI::App app("Turns a burst of noisy frames into one clean image", "zolt-burst");
  app.footer(kFooter);
  app.set_version_flag("--version", VersionText,
                       "Print the versions of the program and its libraries, and the licence");
  app.require_subcommand(1);
  int exit_code = kExitDone;
  try {
    AddDenoiseCommand(app, out, err);
    AddSimulateCommand(app, out);
    AddCompareCommand(app, out);
    AddMeasureCommand(app, out);
    AddReportCommand(app, out);
    AddGroupCommand(app, out, err);
    AddVideoCommand(app, err);
    AddBatchCommand(app, &exit_code, out);
    AddConfigCheckCommand(app, &exit_code, out);
    AddTuneCommand(app, &exit_code, out);
    AddManualCommands(app, out);
    // Said here: the parser would only tell that a subcommand is missing.
    const auto named = [&](const CLI::App* command) { return command->check_name(argv[1]); };
    if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(named).empty())
      FailUsage(std::string(argv[1]) + ": no such subcommand; zolt-burst --help lists them");
    app.parse(argc, argv);
    return exit_code;
  } catch (const CLI::ParseError& e) {
    return app.exit(e, out, err) == 0 ? kExitDone : kExitUsage;
  } catch (const ToolError& e) {
    err << "zolt-burst: " << e.what() << "\n";
    return e.code();
  } catch (const std::bad_alloc&) {
    err << "zolt-burst: not enough memory\n";
    return kExitFile;
  } catch (const std::exception& e) {
    // Of a library that reads files, in words of its own.
    err << "zolt-burst: " << e.what() << "\n";
    return kExitFile;
  }
}

}  // namespace zolt
