#include <CLI/CLI.hpp>

#include "denoise/output_file.h"

namespace zolt {

void AddOutputOptions(CLI::App* command, OutputOptions* options) {
  command->add_option("-o,--output", options->path, "the image to write; - is standard output")->required();
  command->add_option("--output-format", options->format,
                      "format in place of the extension's: jpg, png, tif, heic, avif, y4m, i420, nv12, nv21");
  command->add_option("--quality", options->quality, "of JPEG, HEIC and AVIF")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  command->add_flag("-y,--overwrite-input", options->overwrite_input,
                    "let the result take the place of one of the burst's own files");
  command->add_flag("--strip", options->metadata.strip,
                    "write no metadata at all: no tags, no place, no colour profile");
  command->add_flag("--no-gps", options->metadata.no_gps, "leave out the place where the photo was taken");
}

}  // namespace zolt
