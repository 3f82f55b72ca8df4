#include "batch/batch_results.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "common/errors.h"
#include "common/file_io.h"

namespace zolt {
namespace {

// Arguments need not be UTF-8; what isn't is replaced, in the file as in what is compared with it.
template <typename Json>
std::string Line(const Json& json) {
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

[[noreturn]] void FailWrite(const std::string& path) {
  FailFile(path + ": can't be written: " + std::strerror(errno));
}

void WriteAll(int file, const std::string& text, const std::string& path) {
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = write(file, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) FailWrite(path);
    done += static_cast<size_t>(n);
  }
}

}  // namespace

BatchResults::BatchResults(const std::string& path, std::ostream& out) : path_(path), out_(out) {
  if (path.empty()) return;
  file_ = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (file_ < 0) FailWrite(path);
  try {
    if (flock(file_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
      FailFile(path + ": another batch is writing to it; give each its own --results");
    struct stat status = {};
    if (fstat(file_, &status) == 0 && S_ISREG(status.st_mode)) ReadOld();
  } catch (...) {
    close(file_);
    throw;
  }
}

BatchResults::~BatchResults() {
  if (file_ >= 0) close(file_);
}

void BatchResults::ReadOld() {
  const std::vector<uint8_t> bytes = ReadWhole(path_);
  const std::string text(bytes.begin(), bytes.end());
  size_t begin = 0;
  for (int line = 1; begin < text.size(); ++line) {
    const size_t end = text.find('\n', begin);
    const bool whole = end != std::string::npos;
    const std::string_view record = std::string_view(text).substr(begin, whole ? end - begin : end);
    const nlohmann::json json = nlohmann::json::parse(record, nullptr, false);
    const bool good = json.is_object() && json.contains("line") && json.contains("arguments");
    if (!good && (whole || record.front() != '{'))
      FailFile(path_ + ": line " + std::to_string(line) + " is no result of a batch");
    if (!good) {
      if (ftruncate(file_, static_cast<off_t>(begin)) != 0) FailWrite(path_);
      return;
    }
    if (!whole) WriteAll(file_, "\n", path_);
    if (json.contains("result")) done_.insert(Line(json["arguments"]));
    begin = whole ? end + 1 : text.size();
  }
}

bool BatchResults::HasDone(const BatchJob& job) const {
  return done_.count(Line(nlohmann::json(job.arguments))) > 0;
}

void BatchResults::Add(const nlohmann::ordered_json& record) {
  if (file_ >= 0) return WriteAll(file_, Line(record) + "\n", path_);
  out_ << Line(record) << "\n" << std::flush;
  if (!out_) FailFile("the results can't be written to standard output");
}

}  // namespace zolt
