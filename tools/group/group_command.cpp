#include "group/group_command.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "common/errors.h"
#include "common/file_io.h"
#include "group/burst_groups.h"
#include "media/file_kind.h"
#include "media/input_list.h"
#include "media/media_read.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst group DCIM > list.txt && zolt-burst batch list.txt
  zolt-burst group DCIM -o clean | zolt-burst batch -        results into the folder clean
  zolt-burst group DCIM --gap 2 --json

A burst is 2 or more photos of one camera and size that follow each other within --gap seconds and are exposed alike; a
brighter one may close it, which is then fused. Each line is one for 'zolt-burst batch'. A result is named after the
burst's first frame: IMG_7.jpg gives IMG_7-clean.jpg. Photos that tell no time and results of this program are left out.)";

struct Options {
  std::vector<std::string> inputs;
  std::string folder;
  double gap = 1;
  bool json = false;
};

std::string Quoted(const std::string& word) {
  std::string out = "'";
  for (const char c : word) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// Formats that are written stay; of a raw file comes a JPEG.
std::string ResultOf(const BurstGroup& group, const std::string& folder) {
  const std::filesystem::path first = group.files[0].path;
  std::string extension = first.extension().string();
  const std::string e = ExtensionOf(first.string());
  const bool written =
      KindOf(first.string()) != FileKind::kRaw &&
      (e == "jpg" || e == "jpeg" || e == "png" || e == "tif" || e == "tiff" || e == "heic" || e == "avif");
  if (!written) extension = ".jpg";
  const std::filesystem::path name = first.stem().string() + "-clean" + extension;
  return (folder.empty() ? first.parent_path() / name : std::filesystem::path(folder) / name).string();
}

std::vector<GroupedFile> ReadFiles(const Options& options, std::ostream& err) {
  const InputList list = PicturesAmong(options.inputs, InputOrder::kName);
  std::vector<GroupedFile> files;
  for (const std::string& path : list.files) {
    const Metadata metadata = ReadMetadataOf(path);
    if (metadata.software.rfind("zolt-burst", 0) == 0) continue;
    GroupedFile file{path, FactsOf(metadata), metadata.width, metadata.height};
    if (file.shot.time_us) {
      files.push_back(std::move(file));
    } else {
      err << "zolt-burst: " << path << ": tells no time, left out\n";
    }
  }
  return files;
}

nlohmann::ordered_json JsonOf(const BurstGroup& group, const std::string& output) {
  std::vector<ShotFacts> shots;
  nlohmann::ordered_json j = {{"files", nlohmann::ordered_json::array()}};
  for (const GroupedFile& file : group.files) {
    j["files"].push_back(file.path);
    shots.push_back(file.shot);
  }
  j["output"] = output;
  j["width"] = group.files[0].width;
  j["height"] = group.files[0].height;
  j["exposure"] = ExposureLine(shots);
  j["brighter_last"] = group.brighter_last;
  return j;
}

void Run(const Options& options, std::ostream& out, std::ostream& err) {
  if (!ReadsMetadata()) FailUsage("group needs Exiv2, which this program was built without");
  const std::vector<BurstGroup> groups = BurstGroupsAmong(ReadFiles(options, err), options.gap);
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const BurstGroup& group : groups) {
    const std::string output = ResultOf(group, options.folder);
    if (options.json) {
      all.push_back(JsonOf(group, output));
      continue;
    }
    for (const GroupedFile& file : group.files) out << Quoted(file.path) << " ";
    out << "-o " << Quoted(output) << (group.brighter_last ? " --fusion on" : "") << "\n";
  }
  if (options.json) out << all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
  if (groups.empty()) err << "zolt-burst: no bursts found; see --gap\n";
}

}  // namespace

void AddGroupCommand(CLI::App& app, std::ostream& out, std::ostream& err) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("group", "Find the bursts in a folder of photos, as a list for batch");
  command->footer(kExamples);
  command->add_option("FOLDER", options->inputs, "folders or files")->required();
  command->add_option("-o,--output", options->folder,
                      "folder for the results (default: where the photos are)");
  command->add_option("--gap", options->gap, "seconds from one frame to the next, at most")
      ->check(CLI::Range(0.0, 3600.0))
      ->capture_default_str();
  command->add_flag("--json", options->json, "tell the bursts as JSON");
  command->callback([options, &out, &err] { Run(*options, out, err); });
}

}  // namespace zolt
