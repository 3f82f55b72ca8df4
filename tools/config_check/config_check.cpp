#include "config_check/config_check.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "config/config_keys.h"
#include "config/configuration.h"
#include "config/xml_document.h"

namespace zolt {
namespace {

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// Number of letters to change, add, drop or swap with their neighbour.
int EditDistance(const std::string& a, const std::string& b) {
  std::vector<std::vector<int>> d(a.size() + 1, std::vector<int>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) {
    for (size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        d[i][j] = static_cast<int>(i + j);
        continue;
      }
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  }
  return d[a.size()][b.size()];
}

std::string ParentOf(const std::string& path) {
  return path.substr(0, path.rfind('/'));
}

std::string NameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

// Paths of all keys and of the folders that they lie in.
struct KnownPaths {
  std::vector<std::string> keys;
  std::vector<std::string> all;
};

const KnownPaths& Known() {
  static const KnownPaths known = [] {
    KnownPaths paths;
    for (int i = 0; i < kConfigKeys; ++i) paths.keys.emplace_back(ConfigKeyAt(i).path);
    for (const std::string& key : paths.keys) {
      for (std::string path = key; !path.empty(); path = ParentOf(path)) {
        if (std::find(paths.all.begin(), paths.all.end(), path) == paths.all.end()) paths.all.push_back(path);
      }
    }
    return paths;
  }();
  return known;
}

bool IsKnown(const std::vector<std::string>& paths, const std::string& path) {
  return std::any_of(paths.begin(), paths.end(),
                     [&](const std::string& known) { return EqualsNoCase(known, path); });
}

// The known path that was most likely meant: a misspelt name in its right folder, or the right name
// elsewhere.
std::string NearestKnown(const std::string& path) {
  const std::string name = Lower(NameOf(path));
  const std::string parent = Lower(ParentOf(path));
  std::string nearest;
  int nearest_cost = 1 + static_cast<int>(name.size()) / 3;  // more letters than that are a word of its own
  for (const std::string& known : Known().all) {
    const bool elsewhere = Lower(ParentOf(known)) != parent;
    const int distance = EditDistance(name, Lower(NameOf(known)));
    const int cost = elsewhere ? 2 * distance + 1 : distance;
    if (cost < nearest_cost || (cost == nearest_cost && nearest.empty())) {
      nearest = known;
      nearest_cost = cost;
    }
  }
  return nearest;
}

class Checker {
 public:
  explicit Checker(ConfigReport* report) : report_(report) {}

  bool Load(const std::string& file);
  void CheckKeys();
  void CheckTree();

 private:
  void Find(const std::string& kind, const std::string& path, const std::string& message,
            const std::string& suggestion = "") {
    report_->findings.push_back({kind, path, message, suggestion});
  }
  void CheckRoot();
  void CheckText(const ConfigKey& key, const char* text, bool found);
  void CheckRange(const CheckedKey& key);
  void CheckBands(const MfConfig& config);
  void WalkTree(const XmlNodeRef& node, const std::string& path);

  ConfigReport* report_;
  XmlDocument document_;
};

const char* MeaningOf(XmlError error) {
  switch (error) {
    case kTagWithoutName:
      return "a tag has no name";
    case kEndTagNotClosed:
      return "an end tag is not closed by \">\"";
    case kEndTagAtTop:
      return "an end tag stands outside all elements";
    case kClearNotClosed:
      return "a comment, CDATA or DOCTYPE section has no end";
    case kUnexpectedToken:
      return "a tag is malformed, or elements are nested too deeply";
    case kUnknownEntity:
      return "a \"&\" begins no entity that is known; write \"&amp;\"";
    case kEntityTooLarge:
      return "a numeric entity is above 255";
    default:
      return "it can't be read";
  }
}

bool Checker::Load(const std::string& file) {
  std::error_code error;
  const auto size = std::filesystem::file_size(file, error);
  if (error || !std::filesystem::is_regular_file(file)) {
    report_->verdict = kConfigUnreadable;
    Find("unreadable", "", file + " is no file that can be read");
    return false;
  }
  report_->verdict = kConfigRefused;
  if (file.size() > XmlDocument::kLongestFileName) {
    Find("not-loadable", "", "the path has more than 255 characters");
  } else if (document_.LoadConfig(file.c_str())) {
    report_->verdict = kConfigFine;
  } else if (document_.error() == kCannotOpen) {
    report_->verdict = kConfigUnreadable;
    Find("unreadable", "", file + " can't be opened");
  } else if (size < XmlDocument::kSmallestFile) {
    Find("too-short", "",
         "the file has " + std::to_string(size) +
             " bytes; a file below 200 bytes does not load: add a comment "
             "behind the declaration");
  } else {
    Find("not-loadable", "", MeaningOf(document_.error()));
  }
  return report_->verdict == kConfigFine;
}

void Checker::CheckRoot() {
  if (document_.error() == kEndTagMissing) {
    Find("end-tag-missing", "", "an end tag is missing or misspelt; what stands behind it may be lost");
  }
  const XmlNodeRef& root = document_.root();
  if (document_.FindPath("/Config")) return;
  const auto is_declaration = [](const XmlNodeRef& node) { return node->isDeclaration; };
  bool late_declaration = false;
  for (size_t i = 0; i < root->children.size(); ++i) late_declaration |= is_declaration(root->children[i]);
  const char* const effect = ", so no key is found and every one takes its default";
  if (is_declaration(root)) {
    Find("no-config", "", std::string("there is no element \"Config\"") + effect, "/Config");
  } else if (late_declaration) {
    Find("declaration-not-first", "",
         std::string("a comment or something else stands in front of the declaration \"<?xml ...?>\"") +
             effect);
  } else {
    Find("no-declaration", "",
         std::string("the file does not begin with \"<?xml version=\"1.0\"?>\"") + effect);
  }
}

// Moves behind one integer, in the form in which the library takes it.
const char* BehindInteger(const char* text) {
  text += std::strspn(text, " \t\r\n\v\f");
  if (*text == '-' || *text == '+') ++text;
  return text + std::strspn(text, "0123456789");
}

// What stands behind the number or numbers that the library takes from the front of a text.
std::string RestOf(const ConfigKey& key, const char* text) {
  if (key.meaning->type == ConfigType::kFloat) {
    char* end = nullptr;
    std::strtof(text, &end);
    return std::string(TrimBlanks(end));
  }
  int32_t values[kChromaNrEntries];
  const bool list = key.meaning->type == ConfigType::kIntList;
  const int count = list ? IntListFromText(text, values, kChromaNrEntries) : 1;
  for (int i = 0; i < count; ++i) text = BehindInteger(text);
  return std::string(TrimBlanks(text));
}

void Checker::CheckText(const ConfigKey& key, const char* text, bool found) {
  const XmlNodeRef node = document_.FindPath(key.path);
  if (!node) return;
  if (text == nullptr) {
    const bool attributes = node->attributes.size() > 0;
    return Find("no-value", key.path,
                attributes
                    ? "the value must stand between the tags; attributes are not read, the default is taken"
                    : "there is no value between the tags; the default is taken");
  }
  if (!found)
    return Find("not-a-number", key.path, std::string("\"") + text + "\" is no number; the default is taken");
  const std::string rest = RestOf(key, text);
  if (!rest.empty()) Find("ignored-text", key.path, "\"" + rest + "\" behind the number is ignored");
  int32_t values[kChromaNrEntries];
  if (key.meaning->type != ConfigType::kIntList) return;
  const int count = IntListFromText(text, values, kChromaNrEntries);
  if (count < kChromaNrEntries) {
    Find("short-list", key.path, std::to_string(count) + " of 40 numbers are there; the others are 0");
  }
}

void Checker::CheckRange(const CheckedKey& key) {
  for (size_t i = 0; i < key.values.size(); ++i) {
    const double v = key.values[i];
    if (v >= key.low && v <= key.high) continue;
    std::ostringstream message;
    message << v;
    if (key.values.size() > 1) message << " (entry " << i + 1 << ")";
    message << " is outside the useful range " << key.low << " to " << key.high;
    return Find("out-of-range", key.path, message.str());
  }
}

void Checker::CheckBands(const MfConfig& config) {
  // The last band's limit is not read.
  int32_t reached = 0;
  for (int band = 0; band < kIsoBands - 1; ++band) {
    const int32_t limit = config.bands[band].isovalue;
    if (limit <= reached) {
      Find("band-order", "/Config/NoiseReduction/ISO" + std::to_string(band + 1) + "/isovalue",
           std::to_string(limit) + " is not above the bands before it (" + std::to_string(reached) +
               "), so this band never serves");
    }
    reached = std::max(reached, limit);
  }
}

void Checker::CheckKeys() {
  CheckRoot();
  MfConfig config;
  FillConfig(&config, document_);
  for (int i = 0; i < kConfigKeys; ++i) {
    const ConfigKey key = ConfigKeyAt(i);
    const char* text = document_.FindText(key.path);
    CheckedKey checked = {
        key.path,         {}, static_cast<double>(key.fallback), false, key.meaning->low, key.meaning->high,
        key.meaning->text};
    // A text that holds no number gives back whatever default is named.
    if (key.meaning->type == ConfigType::kFloat) {
      checked.values = {*FloatAt(&config, key)};
      checked.found = !(FloatFromText(text, 0) == 0 && FloatFromText(text, 1) == 1);
    } else if (key.meaning->type == ConfigType::kInt) {
      checked.values = {static_cast<double>(*IntAt(&config, key))};
      checked.found = IntFromText(text, 0) == IntFromText(text, 1);
    } else {
      const int32_t* list = IntAt(&config, key);
      checked.values.assign(list, list + kChromaNrEntries);
      checked.found = IntFromText(text, 0) == IntFromText(text, 1);
    }
    CheckText(key, text, checked.found);
    if (checked.found) CheckRange(checked);
    report_->keys.push_back(checked);
  }
  CheckBands(config);
}

void Checker::CheckTree() {
  if (document_.FindPath("/Config")) WalkTree(document_.root(), "");
}

void Checker::WalkTree(const XmlNodeRef& node, const std::string& path) {
  for (size_t i = 0; i < node->children.size(); ++i) {
    const XmlNodeRef& child = node->children[i];
    const std::string child_path = path + "/" + std::string(child->name.view());
    if (!IsKnown(Known().all, child_path)) {
      Find("unknown-key", child_path, "the library knows no such key", NearestKnown(child_path));
      continue;  // one finding for a misspelt folder, not one for each key in it
    }
    if (GetChild(node, child->name.view()).get() != child.get()) {
      Find("duplicate", child_path, "this is given more than once; only the first one counts");
      continue;
    }
    WalkTree(child, child_path);
  }
}

}  // namespace

int ConfigReport::found() const {
  return static_cast<int>(
      std::count_if(keys.begin(), keys.end(), [](const CheckedKey& k) { return k.found; }));
}

ConfigReport CheckConfig(const std::string& file) {
  ConfigReport report;
  Checker checker(&report);
  if (!checker.Load(file)) return report;
  checker.CheckKeys();
  checker.CheckTree();
  if (!report.findings.empty()) report.verdict = kConfigQuestionable;
  return report;
}

}  // namespace zolt
