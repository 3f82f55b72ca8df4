#include "tune/tune_state.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "common/errors.h"
#include "common/file_io.h"

namespace zolt {
namespace {

constexpr std::chrono::seconds kBetweenSaves(5);

}  // namespace

TuneState::TuneState(const std::string& path, const std::string& fingerprint)
    : path_(path), fingerprint_(fingerprint) {
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) return;
  const std::vector<uint8_t> text = ReadWhole(path);
  try {
    const nlohmann::json j = nlohmann::json::parse(text.begin(), text.end());
    if (j.at("fingerprint").get<std::string>() != fingerprint) {
      FailUsage(path +
                ": was left by a run over other bursts or with other options; start anew with --restart, "
                "or choose another -o");
    }
    j.at("values").get_to(values_);
  } catch (const nlohmann::json::exception& e) {
    FailFile(path + ": " + e.what() + "; start anew with --restart");
  }
  resumed_ = true;
}

std::optional<double> TuneState::Find(const std::string& place, const std::string& point) const {
  const auto points = values_.find(place);
  if (points == values_.end()) return std::nullopt;
  const auto value = points->second.find(point);
  if (value == points->second.end()) return std::nullopt;
  return value->second;
}

void TuneState::Note(const std::string& place, const std::string& point, double value) {
  values_[place][point] = value;
  if (std::chrono::steady_clock::now() - saved_ > kBetweenSaves) Save();
}

void TuneState::Save() {
  const nlohmann::ordered_json j = {{"fingerprint", fingerprint_}, {"values", values_}};
  WriteWhole(path_, j.dump(1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
  saved_ = std::chrono::steady_clock::now();
}

}  // namespace zolt
