#include "simulate/burst_folder.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "common/errors.h"
#include "common/file_io.h"

namespace zolt {
namespace {

constexpr const char* kName = "burst.json";

std::string InFolder(const std::string& folder, const std::string& name) {
  return (std::filesystem::path(folder) / name).string();
}

std::string PlainName(const std::string& name, const std::string& path) {
  if (name.find('/') != std::string::npos || name == "..")
    FailFile(path + ": '" + name + "' is no plain file name");
  return name;
}

}  // namespace

void WriteBurstInfo(const std::string& folder, const BurstInfo& info) {
  nlohmann::ordered_json j;
  j["width"] = info.width;
  j["height"] = info.height;
  j["iso"] = info.iso;
  j["seed"] = info.seed;
  j["motion"] = info.motion;
  j["last_ev"] = info.last_ev;
  j["ghost"] = info.ghost;
  j["white"] = info.white;
  j["photo"] = info.photo;
  j["truth"] = info.truth;
  if (!info.truth_last.empty()) j["truth_last"] = info.truth_last;
  j["frames"] = nlohmann::ordered_json::array();
  for (size_t i = 0; i < info.frames.size(); ++i) {
    j["frames"].push_back({{"file", info.frames[i]}, {"homography", info.homographies[i]}});
  }
  // A photo's name may be in any encoding; what is no UTF-8 is replaced.
  WriteWhole(InFolder(folder, kName), j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

bool HasBurstInfo(const std::string& folder) {
  std::error_code ignored;
  return std::filesystem::exists(InFolder(folder, kName), ignored);
}

BurstInfo ReadBurstInfo(const std::string& folder) {
  const std::string path = InFolder(folder, kName);
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) {
    FailFile(
        folder +
        ": a folder without burst.json; give the frames' files, or a folder made by 'zolt-burst simulate'");
  }
  const std::vector<uint8_t> text = ReadWhole(path);
  BurstInfo info;
  try {
    const nlohmann::json j = nlohmann::json::parse(text.begin(), text.end());
    info.width = j.at("width").get<int>();
    info.height = j.at("height").get<int>();
    info.iso = j.at("iso").get<int>();
    info.seed = j.value("seed", uint64_t{0});
    info.motion = j.value("motion", 0.0);
    info.last_ev = j.value("last_ev", 0.0);
    info.ghost = j.value("ghost", false);
    info.white = j.value("white", false);
    info.photo = j.value("photo", "");
    info.truth = PlainName(j.value("truth", ""), path);
    info.truth_last = PlainName(j.value("truth_last", ""), path);
    for (const auto& frame : j.at("frames")) {
      info.frames.push_back(PlainName(frame.at("file").get<std::string>(), path));
      info.homographies.push_back(frame.at("homography").get<FrameMotion>());
    }
  } catch (const nlohmann::json::exception& e) {
    FailFile(path + ": " + e.what());
  }
  if (info.iso < 0) FailFile(path + ": iso is below 0");
  if (info.frames.empty()) FailFile(path + ": lists no frames");
  return info;
}

}  // namespace zolt
