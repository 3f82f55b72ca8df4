#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "config/configuration.h"
#include "config_check/config_check.h"

namespace zolt {
namespace {

constexpr const char* kExamples = R"(Examples:
  zolt-burst config-check config/multiframe.xml
  zolt-burst config-check my.xml --json

Prints every key that the library reads, with its value; (brackets) mark defaults. Exit codes: 0 nothing to
find fault with, 2 the file can't be read, 3 the library does not load it, 4 it loads with findings.)";

// JSON knows no infinity and no not-a-number.
nlohmann::ordered_json Number(double v) {
  if (!std::isfinite(v)) return nullptr;
  if (v == std::floor(v)) return static_cast<int64_t>(v);
  return v;
}

nlohmann::ordered_json ToJson(const std::string& file, const ConfigReport& report) {
  nlohmann::ordered_json keys = nlohmann::ordered_json::array();
  for (const CheckedKey& key : report.keys) {
    nlohmann::ordered_json value = nlohmann::ordered_json::array();
    for (const double v : key.values) value.push_back(Number(v));
    if (value.size() == 1) value = Number(key.values[0]);
    keys.push_back({{"path", key.path},
                    {"value", value},
                    {"found", key.found},
                    {"default", Number(key.fallback)},
                    {"low", key.low},
                    {"high", key.high},
                    {"meaning", key.meaning}});
  }
  nlohmann::ordered_json findings = nlohmann::ordered_json::array();
  for (const ConfigFinding& finding : report.findings) {
    findings.push_back({{"kind", finding.kind},
                        {"path", finding.path},
                        {"message", finding.message},
                        {"suggestion", finding.suggestion}});
  }
  return {{"file", file},
          {"loads", report.verdict == kConfigFine || report.verdict == kConfigQuestionable},
          {"found", report.found()},
          {"findings", findings},
          {"keys", keys}};
}

std::string ValueText(const CheckedKey& key) {
  std::ostringstream text;
  const auto [low, high] = std::minmax_element(key.values.begin(), key.values.end());
  text << *low;
  if (*low != *high) text << ".." << *high;
  return key.found ? text.str() : "(" + text.str() + ")";
}

std::string RangeText(const CheckedKey& key) {
  return std::to_string(key.low) + ".." + std::to_string(key.high);
}

constexpr int kNameWidth = 36;
constexpr int kBandNameWidth = 20;
constexpr int kRangeWidth = 13;
constexpr int kValueWidth = 10;
constexpr size_t kConfigPrefix = sizeof("/Config/") - 1;

// Keys without a band: one to a line. Keys of the bands: one line for all eight.
void PrintTable(const ConfigReport& report, std::ostream& out) {
  std::vector<std::vector<const CheckedKey*>> families;
  out << std::left;
  for (const CheckedKey& key : report.keys) {
    const size_t band = key.path.find("/ISO");
    if (band == std::string::npos) {
      out << "  " << std::setw(kNameWidth) << key.path.substr(kConfigPrefix) << std::setw(kValueWidth)
          << ValueText(key) << std::setw(kRangeWidth) << RangeText(key) << key.meaning << "\n";
      continue;
    }
    const std::string pattern = key.path.substr(0, band + 4) + key.path.substr(band + 5);
    const auto same = [&](const std::vector<const CheckedKey*>& family) {
      const std::string& first = family.front()->path;
      return first.substr(0, band + 4) + first.substr(std::min(first.size(), band + 5)) == pattern;
    };
    const auto family = std::find_if(families.begin(), families.end(), same);
    if (family == families.end()) {
      families.push_back({&key});
    } else {
      family->push_back(&key);
    }
  }
  std::string group;
  for (const auto& family : families) {
    const std::string& path = family.front()->path;
    const std::string folder = path.substr(kConfigPrefix, path.find("/ISO") - kConfigPrefix);
    if (folder != group) {
      out << "\n  " << std::setw(kBandNameWidth) << folder << std::setw(kRangeWidth) << "range";
      for (int band = 1; band <= kIsoBands; ++band)
        out << std::setw(kValueWidth) << "ISO" + std::to_string(band);
      out << "\n";
      group = folder;
    }
    out << "  " << std::setw(kBandNameWidth) << path.substr(path.rfind('/') + 1) << std::setw(kRangeWidth)
        << RangeText(*family.front());
    for (const CheckedKey* key : family) out << std::setw(kValueWidth) << ValueText(*key);
    out << "\n";
  }
}

void PrintReport(const std::string& file, const ConfigReport& report, std::ostream& out) {
  out << file << ": ";
  if (report.keys.empty()) {
    out << (report.verdict == kConfigUnreadable ? "can't be read" : "does not load") << "\n";
  } else {
    out << "loads, " << report.found() << " of " << report.keys.size() << " keys found, "
        << report.findings.size() << (report.findings.size() == 1 ? " finding" : " findings") << "\n\n";
    PrintTable(report, out);
  }
  if (!report.findings.empty()) out << "\nFindings\n";
  for (const ConfigFinding& finding : report.findings) {
    out << "  " << finding.kind << ": " << (finding.path.empty() ? "" : finding.path + ": ")
        << finding.message;
    if (!finding.suggestion.empty()) out << "; did you mean " << finding.suggestion << "?";
    out << "\n";
  }
}

}  // namespace

int RunConfigCheck(const std::string& file, bool json, std::ostream& out) {
  const ConfigReport report = CheckConfig(file);
  if (json) {
    // Names in a damaged file need not be UTF-8.
    out << ToJson(file, report).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
  } else {
    PrintReport(file, report, out);
  }
  return report.verdict;
}

void AddConfigCheckCommand(CLI::App& app, int* exit_code, std::ostream& out) {
  struct Options {
    std::string file;
    bool json = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("config-check", "Tell what the library will read from a tuning file");
  command->footer(kExamples);
  command->add_option("FILE", options->file, "tuning file, usually multiframe.xml")->required();
  command->add_flag("--json", options->json, "tell the result as JSON");
  command->callback(
      [options, exit_code, &out] { *exit_code = RunConfigCheck(options->file, options->json, out); });
}

}  // namespace zolt
