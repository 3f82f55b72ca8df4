#include "denoise/output_file.h"

#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "common/errors.h"
#include "common/file_io.h"
#include "media/colour.h"
#include "media/jpeg_file.h"

namespace zolt {

void CheckOutput(const OutputOptions& options, const std::vector<std::string>& inputs) {
  OutputFormat(options.path, options.format);
  if (options.path == "-") return;
  CheckFolderOf(options.path);
  CheckNoInput(options, inputs);
}

void CheckNoInput(const OutputOptions& options, const std::vector<std::string>& inputs) {
  if (options.path == "-" || options.overwrite_input) return;
  for (const std::string& input : inputs) {
    std::error_code ignored;
    if (input != "-" && std::filesystem::equivalent(options.path, input, ignored))
      FailUsage(options.path +
                ": is one of the burst's own files; write to another name, or say -y to replace it");
  }
}

void WriteResult(const OutputOptions& options, const AnyPicture& picture, const Metadata& reference,
                 const std::vector<ShotFacts>& shots, std::ostream& out, std::ostream* remarks) {
  PictureFile file{options.format, options.quality, {}};
  ResultFacts facts{WidthOf(picture), HeightOf(picture), shots, {}};
  if (!options.metadata.strip) facts.thumbnail = ThumbnailJpeg(YuvOf(picture));
  file.metadata = MetadataOfResult(reference, facts, options.metadata);
  std::vector<std::string> left_out;
  const std::vector<uint8_t> bytes = PictureBytes(options.path, picture, file, &left_out);
  if (remarks) {
    for (const std::string& line : left_out)
      *remarks << "zolt-burst: " << options.path << ": " << line << "\n";
  }
  if (options.path != "-") return WriteWhole(options.path, bytes);
  if (&out == &std::cout && isatty(STDOUT_FILENO) != 0)
    FailUsage("-o -: standard output is a terminal; send it to a file or a pipe");
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) FailFile("standard output: can't be written");
}

}  // namespace zolt
