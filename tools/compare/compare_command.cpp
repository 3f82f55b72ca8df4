#include "compare/compare_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>

#include "common/errors.h"
#include "compare/quality.h"
#include "media/media_read.h"
#include "media/media_write.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst compare denoised.png burst/truth.png
  zolt-burst compare denoised.png burst/truth.png --diff difference.png --gain 8
  zolt-burst compare noisy.png denoised.png --side-by-side both.png
  zolt-burst compare a.jpg b.jpg --json

PSNR in dB and SSIM (11 x 11 Gaussian window, sigma 1.5) of A against B in YUV 4:2:0, luma and chroma apart.
Equal pictures have no finite PSNR: 'inf', in JSON null.)";

struct Options {
  std::string a, b, diff, side_by_side;
  double gain = 4;
  int inside = 0;
  bool json = false;
};

// JSON knows no infinity and no not-a-number.
nlohmann::json FiniteOrNull(double v) {
  return std::isfinite(v) ? nlohmann::json(v) : nlohmann::json(nullptr);
}

void Run(const Options& options, std::ostream& out) {
  for (const std::string& path : {options.diff, options.side_by_side}) {
    if (!path.empty()) OutputFormat(path, "");
  }
  if (!std::isfinite(options.gain)) FailUsage("--gain takes a number");
  YuvPicture a = ReadPicture(options.a);
  YuvPicture b = ReadPicture(options.b);
  if (a.width != b.width || a.height != b.height) {
    FailUsage("the pictures differ in size: " + std::to_string(a.width) + " x " + std::to_string(a.height) +
              " and " + std::to_string(b.width) + " x " + std::to_string(b.height) +
              "; crop or scale one of them");
  }
  if (2 * options.inside >= std::min(a.width, a.height)) FailUsage("--inside leaves nothing of the pictures");
  a = Inside(a, options.inside);
  b = Inside(b, options.inside);
  const Quality q = CompareQuality(a, b);
  if (!options.diff.empty()) WritePicture(options.diff, DifferencePicture(a, b, options.gain));
  if (!options.side_by_side.empty()) WritePicture(options.side_by_side, SideBySide(a, b));
  if (options.json) {
    const nlohmann::ordered_json j = {{"psnr_luma", FiniteOrNull(q.psnr_luma)},
                                      {"psnr_chroma", FiniteOrNull(q.psnr_chroma)},
                                      {"ssim_luma", FiniteOrNull(q.ssim_luma)},
                                      {"ssim_chroma", FiniteOrNull(q.ssim_chroma)}};
    out << j.dump(2) << "\n";
  } else {
    out << std::fixed << "luma    PSNR " << std::setprecision(2) << q.psnr_luma << " dB   SSIM "
        << std::setprecision(4) << q.ssim_luma << "\nchroma  PSNR " << std::setprecision(2) << q.psnr_chroma
        << " dB   SSIM " << std::setprecision(4) << q.ssim_chroma << "\n";
  }
}

}  // namespace

void AddCompareCommand(CLI::App& app, std::ostream& out) {
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("compare", "Tell how alike two pictures are: PSNR and SSIM");
  command->footer(kExamples);
  command->add_option("A", options->a, "image")->required();
  command->add_option("B", options->b, "image of the same size, often the truth")->required();
  command->add_option("--diff", options->diff, "write mid grey plus --gain times (A - B) to this file");
  command->add_option("--side-by-side", options->side_by_side,
                      "write A and B beside each other to this file");
  command->add_option("--gain", options->gain, "how strongly --diff shows a difference")
      ->check(CLI::Range(0.01, 255.0))
      ->capture_default_str();
  command
      ->add_option("--inside", options->inside,
                   "leave out this many pixels (made even) at each edge, where moved frames don't overlap")
      ->check(CLI::Range(0, 100000));
  command->add_flag("--json", options->json, "tell the result as JSON");
  command->callback([options, &out] { Run(*options, out); });
}

}  // namespace zolt
