#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <string>

#include "batch/batch_list.h"

namespace zolt {

/// The JSON lines of a batch, in a file or on `out`. Each line goes out in one piece as soon as it is known,
/// so what is there is valid whenever the batch ends.
class BatchResults {
 public:
  /// `path` empty: `out`. A file that is there is added to; half a line at its end, left by a power cut, is
  /// taken away first. ToolError (file) if it holds anything else or another batch is writing to it.
  BatchResults(const std::string& path, std::ostream& out);
  ~BatchResults();
  BatchResults(const BatchResults&) = delete;
  BatchResults& operator=(const BatchResults&) = delete;

  /// Whether the file already had a result for the same arguments.
  bool HasDone(const BatchJob& job) const;

  /// ToolError (file) if it can't be written.
  void Add(const nlohmann::ordered_json& record);

 private:
  void ReadOld();

  std::string path_;
  std::ostream& out_;
  int file_ = -1;
  std::set<std::string> done_;
};

}  // namespace zolt
