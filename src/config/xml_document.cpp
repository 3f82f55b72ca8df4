#include "config/xml_document.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "config/xml_encoding.h"
#include "config/xml_parser.h"

namespace zolt {
namespace {

constexpr size_t kTerminator = 4;  // zero bytes behind a file's content
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;
using Bytes = std::unique_ptr<char[]>;

// Zeroed, with room for the terminator; null if there is no memory.
Bytes AllocateText(size_t size) {
  if (size > SIZE_MAX - kTerminator) return nullptr;
  return Bytes(new (std::nothrow) char[size + kTerminator]());
}

XmlNodeRef ParseText(const char* text, XmlError* error) {
  if (std::strncmp(text, kByteOrderMark.data(), kByteOrderMark.size()) == 0) text += kByteOrderMark.size();
  return ParseString(text, error);
}

void SetEncodingBy(const char* head) {
  SetXmlEncoding(GuessXmlEncoding(head, XmlDocument::kSmallestFile, true));
}

// The length of a file that is open at its start, and left there; 0 or below if it can't be told.
long FileSize(std::FILE* file) {
  if (std::fseek(file, 0, SEEK_END) != 0) return -1;
  const long size = std::ftell(file);
  return std::fseek(file, 0, SEEK_SET) == 0 ? size : -1;
}

}  // namespace

bool XmlDocument::LoadConfig(const char* path) {
  if (path == nullptr || std::strlen(path) > kLongestFileName) return false;
  if (std::strcmp(path, file_name_) == 0) return static_cast<bool>(root_);
  file_name_[0] = 0;
  root_ = XmlNodeRef();
  root_ = ParseFile(path);
  if (!root_) return false;
  std::memcpy(file_name_, path, std::strlen(path) + 1);
  return true;
}

bool XmlDocument::LoadBytes(const char* bytes, size_t size) {
  file_name_[0] = 0;
  root_ = XmlNodeRef();
  error_ = kXmlOk;
  if (size < kSmallestFile) return false;
  SetEncodingBy(bytes);
  const Bytes text = AllocateText(size);
  if (text == nullptr) {
    error_ = kUnreadable;
    return false;
  }
  std::memcpy(text.get(), bytes, size);
  root_ = ParseText(text.get(), &error_);
  return static_cast<bool>(root_);
}

XmlNodeRef XmlDocument::ParseFile(const char* path) {
  error_ = kXmlOk;
  if (const File file(std::fopen(path, "rb")); file != nullptr) {
    char head[kSmallestFile];
    if (std::fread(head, 1, sizeof(head), file.get()) < sizeof(head)) return {};
    SetEncodingBy(head);
  }
  const File file(std::fopen(path, "rb"));
  if (file == nullptr) {
    error_ = kCannotOpen;
    return {};
  }
  const long length = FileSize(file.get());
  const size_t size = length > 0 ? static_cast<size_t>(length) : 0;
  const Bytes text = size > 0 ? AllocateText(size) : nullptr;
  if (text == nullptr) {
    error_ = kUnreadable;
    return {};
  }
  if (std::fread(text.get(), 1, size, file.get()) < size) return {};
  return ParseText(text.get(), &error_);
}

}  // namespace zolt
