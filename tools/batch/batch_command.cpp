#include "batch/batch_command.h"

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <memory>

#include "batch/batch_list.h"
#include "batch/batch_results.h"
#include "batch/batch_run.h"
#include "common/errors.h"
#include "common/parallel.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst batch list.txt                                       results as JSON lines on standard output
  zolt-burst batch list.txt --results results.jsonl --resume      only what is not done yet
  ls -d bursts/* | sed 's/.*/& -o &.png/' | zolt-burst batch - --jobs 4

A line of LIST is what stands behind 'zolt-burst denoise', in the shell's words:
  bursts/7 -o clean/7.png --iso 1600
  "holiday pictures"/*.jpg -o clean/holiday.png
Blank lines and those that begin with # are left out. Paths are those of the folder where the batch is started.

Each result is one line of JSON: line, arguments, exit, seconds, and either result (as 'denoise --json' tells it) or
error. A burst that fails does not stop the others. Ctrl-C ends what is running; --resume takes it up again.
Exit codes: 0 all done, 1 bad usage, 2 LIST or the results can't be read or written, 4 at least one burst failed,
130 stopped.)";

struct Options {
  std::string list, results;
  BatchSettings settings;
};

std::vector<BatchJob> ReadList(const std::string& path) {
  if (path == "-") return ReadBatchList(std::cin);
  std::ifstream file(path);
  std::vector<BatchJob> jobs = ReadBatchList(file);
  // A folder opens, but can't be read.
  if (!file.is_open() || file.bad()) FailFile(path + ": can't be read");
  return jobs;
}

int Run(const Options& options, std::ostream& out) {
  if (options.settings.resume && options.results.empty())
    FailUsage("--resume needs --results FILE, to know what is done");
  const std::vector<BatchJob> jobs = ReadList(options.list);
  BatchResults results(options.results, out);
  const BatchTally tally = RunBatch(jobs, options.settings, &results);
  if (!options.results.empty()) {
    out << options.results << ": " << tally.done << " done, " << tally.failed << " failed";
    if (tally.skipped > 0) out << ", " << tally.skipped << " done before";
    out << (tally.stopped ? ", stopped\n" : "\n");
  }
  if (tally.stopped) return kExitStopped;
  return tally.failed > 0 ? kExitSomeFailed : kExitDone;
}

}  // namespace

void AddBatchCommand(CLI::App& app, int* exit_code, std::ostream& out) {
  auto options = std::make_shared<Options>();
  options->settings.jobs = UsableProcessors();
  CLI::App* command = app.add_subcommand("batch", "Denoise many bursts, one process each");
  command->footer(kExamples);
  command->add_option("LIST", options->list, "file with a burst on each line, or - for standard input")
      ->required();
  command->add_option("--jobs", options->settings.jobs, "processes at a time (default: the CPUs)")
      ->check(CLI::Range(1, 256))
      ->capture_default_str();
  command->add_option("--results", options->results, "add the results to this file");
  command->add_flag("--resume", options->settings.resume, "leave out what --results has as done");
  command->callback([options, exit_code, &out] { *exit_code = Run(*options, out); });
}

}  // namespace zolt
