#include "program.h"

#include <CLI/CLI.hpp>
#include <new>

#include "batch/batch_command.h"
#include "common/errors.h"
#include "compare/compare_command.h"
#include "config_check/config_check.h"
#include "denoise/denoise_command.h"
#include "report/report_command.h"
#include "simulate/simulate_command.h"
#include "tune/measure_command.h"
#include "tune/tune_command.h"

namespace zolt {
namespace {

constexpr const char* kFooter =
    R"(Exit codes: 0 done, 1 bad usage, 2 a file can't be read or written, 3 the library refused; config-check
also has 4, findings, batch 4, some bursts failed, and batch and tune 130, stopped.
'zolt-burst SUBCOMMAND --help' has examples.)";

}  // namespace

int RunZoltBurst(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  CLI::App app("Turns a burst of noisy frames into one clean image", "zolt-burst");
  app.footer(kFooter);
  app.require_subcommand(1);
  int exit_code = kExitDone;
  try {
    AddDenoiseCommand(app, out, err);
    AddSimulateCommand(app, out);
    AddCompareCommand(app, out);
    AddMeasureCommand(app, out);
    AddReportCommand(app, out);
    AddBatchCommand(app, &exit_code, out);
    AddConfigCheckCommand(app, &exit_code, out);
    AddTuneCommand(app, &exit_code, out);
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
