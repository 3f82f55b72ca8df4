#include "media/input_list.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "common/errors.h"
#include "common/file_io.h"
#include "media/file_kind.h"
#include "media/media_read.h"

namespace zolt {
namespace {

namespace fs = std::filesystem;

bool IsFolder(const std::string& path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored);
}

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    std::error_code ignored;
    const bool hidden = at->path().filename().string()[0] == '.';
    if (!hidden && at->is_regular_file(ignored)) files.push_back(at->path().string());
  }
  if (error) FailFile(folder + ": can't be read: " + error.message());
  std::sort(files.begin(), files.end(), NameBefore);
  return files;
}

std::string Stem(const std::string& path) {
  return fs::path(path).replace_extension().string();
}

struct Sorted {
  std::vector<std::string> pictures, videos;
};

Sorted SortedByKind(const std::vector<std::string>& files, std::vector<std::string>* notes) {
  Sorted sorted;
  for (const std::string& file : files) {
    const FileKind kind = KindOf(file);
    std::error_code ignored;
    if (kind == FileKind::kVideo) {
      sorted.videos.push_back(file);
    } else if (kind != FileKind::kOther || IsPictureName(file) || !fs::exists(file, ignored)) {
      sorted.pictures.push_back(file);
    } else {
      notes->push_back(file + ": no picture, left out");
    }
  }
  return sorted;
}

// Cameras write both; the JPEG is how the camera meant the picture.
void LeaveOutTwins(std::vector<std::string>* pictures, std::vector<std::string>* notes) {
  std::set<std::string> developed;
  for (const std::string& file : *pictures) {
    if (KindOf(file) != FileKind::kRaw) developed.insert(Stem(file));
  }
  std::erase_if(*pictures, [&](const std::string& file) {
    const bool twin = developed.count(Stem(file)) > 0 && KindOf(file) == FileKind::kRaw;
    if (twin)
      notes->push_back(file +
                       ": left out, the same picture lies beside it; name the raw files alone to take them");
    return twin;
  });
}

// A burst that is cleaned a second time finds the first result in its folder.
void LeaveOutResults(std::vector<std::string>* pictures, std::vector<std::string>* notes) {
  std::vector<std::string> frames, results;
  for (const std::string& file : *pictures) {
    std::error_code ignored;
    const bool result =
        fs::exists(file, ignored) && ReadMetadataOf(file).software.rfind("zolt-burst", 0) == 0;
    (result ? results : frames).push_back(file);
  }
  if (frames.empty()) return;  // then they are what is meant
  for (const std::string& file : results)
    notes->push_back(file + ": left out, it is a result of this program; give results alone to take them");
  *pictures = std::move(frames);
}

void SortByTime(std::vector<std::string>* files) {
  std::map<std::string, int64_t> times;
  for (const std::string& file : *files) {
    const auto time = FactsOf(ReadMetadataOf(file)).time_us;
    if (!time) FailUsage(file + ": tells no time; use --sort name");
    times[file] = *time;
  }
  std::stable_sort(files->begin(), files->end(),
                   [&](const auto& a, const auto& b) { return times[a] < times[b]; });
}

}  // namespace

bool NameBefore(const std::string& a, const std::string& b) {
  const int order = strverscmp(a.c_str(), b.c_str());
  return order != 0 ? order < 0 : a < b;
}

InputList PicturesAmong(const std::vector<std::string>& inputs, InputOrder order) {
  InputList list;
  for (const std::string& input : inputs) {
    if (IsFolder(input)) {
      const auto files = FilesIn(input);
      list.files.insert(list.files.end(), files.begin(), files.end());
    } else {
      list.files.push_back(input);
    }
  }
  if (list.files.size() > 1) {
    Sorted sorted = SortedByKind(list.files, &list.notes);
    // Several clips may be meant for the first frame of each.
    if (sorted.pictures.empty()) sorted.pictures.swap(sorted.videos);
    for (const std::string& video : sorted.videos)
      list.notes.push_back(video + ": a video among pictures, left out");
    LeaveOutTwins(&sorted.pictures, &list.notes);
    LeaveOutResults(&sorted.pictures, &list.notes);
    list.files = std::move(sorted.pictures);
  }
  if (order == InputOrder::kName) std::stable_sort(list.files.begin(), list.files.end(), NameBefore);
  if (order == InputOrder::kTime) SortByTime(&list.files);
  return list;
}

StandardInput::StandardInput() {
  const char* told = std::getenv("TMPDIR");
  std::string name = std::string(told && *told ? told : "/tmp") + "/zolt-burst-XXXXXX";
  file_ = mkostemp(name.data(), O_CLOEXEC);
  if (file_ < 0)
    FailFile(name + ": no place to keep standard input: " + std::strerror(errno) + "; set TMPDIR");
  unlink(name.c_str());
  path_ = "/proc/self/fd/" + std::to_string(file_);
  std::vector<char> block(1 << 20);
  while (const size_t n = std::fread(block.data(), 1, block.size(), stdin)) {
    for (size_t done = 0; done < n;) {
      const ssize_t written = write(file_, block.data() + done, n - done);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) {
        const std::string reason = std::strerror(errno);
        close(file_);
        FailFile(name + ": standard input can't be kept: " + reason + "; set TMPDIR to a larger place");
      }
      done += static_cast<size_t>(written);
    }
  }
}

StandardInput::~StandardInput() {
  close(file_);
}

}  // namespace zolt
