#include "video/target_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "common/errors.h"

namespace zolt {
namespace {

/// What is in the buffers when the disk is full, and the index of some hours.
constexpr off_t kRoom = 4 << 20;
constexpr int kBuffer = 1 << 16;

}  // namespace

TargetFile::TargetFile(const std::string& path) : path_(path) {
  std::error_code ignored;
  const auto kind = std::filesystem::status(path, ignored).type();
  if (path != "-" && kind == std::filesystem::file_type::directory)
    FailFile(path + ": is a folder, not a file");
  plain_ = path != "-" &&
           (kind == std::filesystem::file_type::regular || kind == std::filesystem::file_type::not_found);
  temporary_ = plain_ ? path + ".part" + std::to_string(getpid()) : path;
  // A reader that has gone is an error of the write, not the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  file_ = path == "-" ? dup(STDOUT_FILENO)
                      : open(temporary_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | (plain_ ? O_TRUNC : 0), 0666);
  if (file_ < 0) FailFile(path + ": can't be written: " + std::strerror(errno));
  if (plain_) HoldRoom();
  auto* buffer = static_cast<unsigned char*>(av_malloc(kBuffer));
  if (buffer != nullptr)
    io_.reset(avio_alloc_context(buffer, kBuffer, 1, this, nullptr, &Write, plain_ ? &Seek : nullptr));
  if (!io_) FailFile(path + ": no memory to write it");
  io_->seekable = plain_ ? AVIO_SEEKABLE_NORMAL : 0;
}

TargetFile::~TargetFile() {
  io_.reset();
  GiveRoom();
  if (file_ >= 0) close(file_);
  if (plain_) unlink(temporary_.c_str());
}

void TargetFile::HoldRoom() {
  room_ = temporary_ + ".room";
  const int held = open(room_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (held < 0) return;
  if (posix_fallocate(held, 0, kRoom) != 0) unlink(room_.c_str());
  close(held);
}

void TargetFile::GiveRoom() {
  if (!room_.empty()) unlink(room_.c_str());
  room_.clear();
}

bool TargetFile::WriteAll(const uint8_t* bytes, size_t size) {
  while (size > 0) {
    const ssize_t n = write(file_, bytes, size);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const bool first = refusal_.empty();
      if (first) refusal_ = std::strerror(errno);
      if (!first || errno != ENOSPC || room_.empty()) return false;
      GiveRoom();
      continue;
    }
    bytes += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

int TargetFile::Write(void* opaque, uint8_t* bytes, int size) {
  return static_cast<TargetFile*>(opaque)->WriteAll(bytes, static_cast<size_t>(size)) ? size : AVERROR(EIO);
}

int64_t TargetFile::Seek(void* opaque, int64_t offset, int whence) {
  const auto* self = static_cast<TargetFile*>(opaque);
  if ((whence & AVSEEK_SIZE) != 0) {
    struct stat told = {};
    return fstat(self->file_, &told) == 0 ? told.st_size : AVERROR(EIO);
  }
  const off_t at = lseek(self->file_, offset, whence & ~AVSEEK_FORCE);
  return at >= 0 ? at : AVERROR(errno);
}

void TargetFile::Keep() {
  avio_flush(io_.get());
  GiveRoom();
  const bool closed = close(file_) == 0;
  file_ = -1;
  const bool moved = closed && (!plain_ || std::rename(temporary_.c_str(), path_.c_str()) == 0);
  if (!moved) FailFile(path_ + ": can't be written: " + std::strerror(errno));
  plain_ = false;
}

}  // namespace zolt
