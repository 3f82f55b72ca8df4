#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace zolt {

/// The values of all tunings looked at so far, in a file beside the output. A search over the same bursts
/// walks the same points, so this is all that a stopped one needs to go on.
class TuneState {
 public:
  /// Reads the file if it is there. ToolError (usage) if it belongs to another set of bursts or options,
  /// which `fingerprint` tells apart; (file) if it is damaged.
  TuneState(const std::string& path, const std::string& fingerprint);

  /// `place` groups the points, `point` tells the tuning.
  std::optional<double> Find(const std::string& place, const std::string& point) const;
  /// Also writes the file now and then.
  void Note(const std::string& place, const std::string& point, double value);
  void Save();

  const std::string& path() const { return path_; }
  bool resumed() const { return resumed_; }

 private:
  std::string path_;
  std::string fingerprint_;
  bool resumed_ = false;
  std::map<std::string, std::map<std::string, double>> values_;
  std::chrono::steady_clock::time_point saved_ = std::chrono::steady_clock::now();
};

}  // namespace zolt
