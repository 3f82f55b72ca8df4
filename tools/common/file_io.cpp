#include "common/file_io.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "common/errors.h"

namespace zolt {
namespace {

struct CloseFile {
  void operator()(FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<FILE, CloseFile>;

std::string Reason() {
  return std::strerror(errno);
}

void WriteBytes(const std::string& path, const void* data, size_t size) {
  // A device or a pipe can't be moved over; it is written straight.
  std::error_code ignored;
  const auto kind = std::filesystem::status(path, ignored).type();
  if (kind == std::filesystem::file_type::directory) FailFile(path + ": is a folder, not a file");
  const bool plain =
      kind == std::filesystem::file_type::regular || kind == std::filesystem::file_type::not_found;
  const std::string target = plain ? path + ".part" + std::to_string(getpid()) : path;
  File file(std::fopen(target.c_str(), "wb"));
  if (!file) FailFile(path + ": can't be written: " + Reason());
  bool good = std::fwrite(data, 1, size, file.get()) == size;
  good = std::fclose(file.release()) == 0 && good;
  if (plain) good = good && std::rename(target.c_str(), path.c_str()) == 0;
  if (good) return;
  const std::string reason = Reason();
  if (plain) std::remove(target.c_str());
  FailFile(path + ": can't be written: " + reason);
}

}  // namespace

std::string ExtensionOf(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

void WriteWhole(const std::string& path, const std::vector<uint8_t>& bytes) {
  WriteBytes(path, bytes.data(), bytes.size());
}

void WriteWhole(const std::string& path, const std::string& text) {
  WriteBytes(path, text.data(), text.size());
}

void CheckFolderOf(const std::string& path) {
  std::error_code ignored;
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (!folder.empty() && !std::filesystem::is_directory(folder, ignored))
    FailFile(folder.string() + ": no such folder");
}

std::vector<uint8_t> ReadWhole(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) FailFile(path + ": is a folder, not a file");
  File file(std::fopen(path.c_str(), "rb"));
  if (!file) FailFile(path + ": can't be read: " + Reason());
  std::vector<uint8_t> bytes;
  std::vector<uint8_t> block(1 << 20);
  while (const size_t n = std::fread(block.data(), 1, block.size(), file.get())) {
    bytes.insert(bytes.end(), block.begin(), block.begin() + static_cast<ptrdiff_t>(n));
  }
  if (std::ferror(file.get())) FailFile(path + ": can't be read: " + Reason());
  return bytes;
}

}  // namespace zolt
