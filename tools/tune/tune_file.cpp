#include "tune/tune_file.h"

#include <charconv>
#include <filesystem>
#include <pugixml.hpp>
#include <sstream>

#include "common/errors.h"
#include "config/config_keys.h"
#include "config/xml_document.h"
#include "config_check/config_check.h"
#include "denoise/denoise_run.h"

namespace zolt {
namespace {

constexpr int kScales = 5;
constexpr int kLevels = 4;

// Two hyphens would end a comment.
void AddComment(pugi::xml_node node, std::string text) {
  for (size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at))
    text.insert(at + 1, " ");
  node.append_child(pugi::node_comment).set_value((" " + text + " ").c_str());
}

std::string Indent(int depth) {
  return "\n" + std::string(2 * static_cast<size_t>(depth), ' ');
}

// A line for each plane, a gap between scales.
std::string ListText(const int32_t* values, int depth) {
  std::string text;
  for (int i = 0; i < kChromaNrEntries; ++i) {
    if (i % (kScales * kLevels) == 0) {
      text += Indent(depth + 1);
    } else {
      text += i % kLevels == 0 ? "  " : " ";
    }
    text += std::to_string(values[i]);
  }
  return text + Indent(depth);
}

std::string ValueText(MfConfig* config, const ConfigKey& key, int depth) {
  if (key.meaning->type == ConfigType::kIntList) return ListText(IntAt(config, key), depth);
  if (key.meaning->type == ConfigType::kInt) return std::to_string(*IntAt(config, key));
  char digits[64];
  const auto end =
      std::to_chars(digits, digits + sizeof digits, *FloatAt(config, key), std::chars_format::fixed);
  return std::string(digits, end.ptr);
}

// Adds one key, with the folders on its way that aren't there yet.
void AddKey(pugi::xml_node top, MfConfig* config, const ConfigKey& key, const TuneFileNotes& notes) {
  std::stringstream path(key.path);
  std::string part;
  pugi::xml_node node = top;
  int depth = 0;
  std::getline(path, part, '/');  // nothing before the first slash
  while (std::getline(path, part, '/')) {
    pugi::xml_node child = node.child(part.c_str());
    if (!child) {
      const bool is_key = part == key.meaning->name;
      const bool is_noise_band = depth == 2 && std::string(key.meaning->group) == "NoiseReduction";
      if (is_key) AddComment(node, key.meaning->text);
      if (!is_key && is_noise_band) AddComment(node, notes.bands[key.band - 1]);
      child = node.append_child(part.c_str());
    }
    node = child;
    ++depth;
  }
  node.text().set(ValueText(config, key, depth - 1).c_str());
}

}  // namespace

MfConfig ReadTuneFile(const std::string& path) {
  const ConfigReport report = CheckConfig(path);
  if (report.verdict == kConfigUnreadable || report.verdict == kConfigRefused)
    FailFile(path + ": " + report.findings.front().message);
  if (report.found() == 0) FailFile(path + ": no key is found in it; see 'zolt-burst config-check'");
  XmlDocument document;
  MfConfig config;
  if (!document.LoadConfig(path.c_str())) FailFile(path + ": can't be loaded");
  FillConfig(&config, document);
  return config;
}

MfConfig ReadTuning(const std::string& folder, TuningKind kind) {
  if (!folder.empty()) return ReadTuneFile((std::filesystem::path(folder) / "multiframe.xml").string());
  MfConfig config;
  const int32_t result = LoadTuning(nullptr, kind, &config);
  if (result != ZOLT_BURST_OK) throw LibraryRefused(result, "the built-in tuning");
  return config;
}

std::string TuneFileText(const MfConfig& config, const TuneFileNotes& notes) {
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "utf-8";
  AddComment(document, notes.head);
  MfConfig values = config;
  for (int i = 0; i < kConfigKeys; ++i) AddKey(document, &values, ConfigKeyAt(i), notes);
  std::ostringstream text;
  document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
  return text.str();
}

}  // namespace zolt
