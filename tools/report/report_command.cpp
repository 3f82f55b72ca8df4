#include "report/report_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "common/file_io.h"
#include "report/report_content.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst report burst -o report.html                      a folder made by 'zolt-burst simulate'
  zolt-burst report *.jpg -o report.html --truth clean.png    own frames, and a picture to compare with
  zolt-burst report burst -o report.html --iso 3200 --config my-tuning
  zolt-burst report burst -o report.html --crop 400 300 --crop 1200 80

Takes the burst through the library as 'denoise' does and writes one HTML page that needs no other file: a slider
between first frame and result, crops at 100 %, differences, ghost and weight maps, time of each stage, settings.
With a known truth (the folder's, or --truth) also PSNR and SSIM. Exit codes are those of 'denoise'.)";

struct Options {
  ReportSettings report;
  std::string output;
  std::vector<int> crops;  // x, y, x, y, ...
};

void Run(Options options, std::ostream& out) {
  for (size_t i = 0; i + 1 < options.crops.size(); i += 2) {
    options.report.crops.emplace_back(options.crops[i], options.crops[i + 1]);
  }
  CheckFolderOf(options.output);
  options.report.denoise.source.upright = true;  // a page has no tags to turn its pictures by
  const ReportPage page = MakeReport(options.report);
  const std::string html = RenderPage(page);
  WriteWhole(options.output, html);
  out << options.output << ": " << page.frames.size() << " frames, " << html.size() / 1024 << " KB"
      << (page.result ? "" : ", without PSNR and SSIM as the truth isn't known") << "\n";
}

}  // namespace

void AddReportCommand(CLI::App& app, std::ostream& out) {
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("report", "Show what a burst gained on one HTML page");
  command->footer(kExamples);
  AddDenoiseOptions(command, &options->report.denoise);
  command->add_option("-o,--output", options->output, "the HTML page to write")->required();
  command->add_option("--truth", options->report.truth, "picture without noise, of the frames' size");
  command
      ->add_option(
          "--crop", options->crops,
          "upper left pixel X Y of a crop, may be given several times (default: where most is to see)")
      ->type_size(2)
      ->type_name("X Y")
      ->allow_extra_args(false);
  command->add_option("--width", options->report.width, "scale whole pictures down to this width")
      ->check(CLI::Range(64, 16384))
      ->capture_default_str();
  command->callback([options, &out] { Run(*options, out); });
}

}  // namespace zolt
