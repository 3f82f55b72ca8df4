#pragma once

#include <string>
#include <vector>

namespace zolt {

enum class InputOrder { kGiven, kName, kTime };

struct InputList {
  std::vector<std::string> files;
  std::vector<std::string> notes;  // what was left out, and why; a line each
};

/// The pictures among what a user named. Folders stand for the pictures in them, by name. With more than one
/// file, what is no picture is left out: sidecars, the video of a live photo, a raw file whose JPEG or
/// HEIC lies beside it, and what this program made. A file that claims to be a picture by its name stays, so
/// that reading it tells what is wrong. Names are ordered with their numbers as numbers; time is the
/// camera's, with sub-seconds. ToolError (file) for what isn't there.
InputList PicturesAmong(const std::vector<std::string>& inputs, InputOrder order);

/// "IMG_9" before "IMG_10".
bool NameBefore(const std::string& a, const std::string& b);

/// A copy of standard input as a file without a name, which lives as long as this.
class StandardInput {
 public:
  StandardInput();  // ToolError (file)
  ~StandardInput();
  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;

  const std::string& path() const { return path_; }

 private:
  int file_ = -1;
  std::string path_;
};

}  // namespace zolt
