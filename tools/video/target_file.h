#pragma once

#include <string>

#include "media/ffmpeg_handles.h"

namespace zolt {

/// The file under a video that is being written: beside the target under a temporary name, moved into place
/// when it is closed. A full disk is not the end: some room is held back from the start, and once the disk
/// has refused, the container's index goes there, so that what was written can be played.
class TargetFile {
 public:
  /// "-": standard output. ToolError (file).
  explicit TargetFile(const std::string& path);
  ~TargetFile();  ///< without Keep: nothing is left
  TargetFile(const TargetFile&) = delete;
  TargetFile& operator=(const TargetFile&) = delete;

  AVIOContext* io() { return io_.get(); }
  /// Why no more should be written; empty: all is well.
  const std::string& refusal() const { return refusal_; }
  /// Moves it into place. ToolError (file).
  void Keep();

 private:
  static int Write(void* opaque, uint8_t* bytes, int size);
  static int64_t Seek(void* opaque, int64_t offset, int whence);
  bool WriteAll(const uint8_t* bytes, size_t size);
  void HoldRoom();
  void GiveRoom();

  std::string path_, temporary_, room_;
  int file_ = -1;
  bool plain_ = false;
  std::string refusal_;
  IoHandle io_;
};

}  // namespace zolt
