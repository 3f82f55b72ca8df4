// Any bytes as a picture file: whatever they say of themselves, reading ends with pictures or a ToolError of
// the kind that means a file, within the limit of pixels.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/errors.h"
#include "media/media_read.h"

namespace {

constexpr int64_t kMostPixels = 1 << 16;
constexpr int kMostFrames = 4;

// A file without a name, so that no disk is waited for.
class MemoryFile {
 public:
  MemoryFile(const uint8_t* data, size_t size) : file_(memfd_create("zolt", MFD_CLOEXEC)) {
    for (size_t done = 0; file_ >= 0 && done < size;) {
      const ssize_t n = write(file_, data + done, size - done);
      if (n <= 0) break;
      done += static_cast<size_t>(n);
    }
  }
  ~MemoryFile() { close(file_); }
  std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

 private:
  int file_;
};

template <typename Read>
void Expect(const Read& read) {
  try {
    read();
  } catch (const zolt::ToolError& e) {
    if (e.code() == zolt::kExitFile) return;
    std::fprintf(stderr, "exit code %d: %s\n", e.code(), e.what());
    std::abort();
  }
}

void CheckSize(int width, int height) {
  if (int64_t{width} * height > kMostPixels) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryFile file(data, size);
  const std::string path = file.path();
  zolt::ReadOptions options;
  options.most_pixels = kMostPixels;
  Expect([&] {
    const zolt::Metadata metadata = zolt::ReadMetadataOf(path);
    zolt::FactsOf(metadata);
    zolt::MetadataOfResult(metadata, {64, 64, {zolt::FactsOf(metadata)}, {}}, {.no_gps = size % 2 == 0});
  });
  Expect([&] {
    zolt::MediaReader reader(path, options);
    for (int i = 0; i < kMostFrames; ++i) {
      const auto frame = reader.Next();
      if (!frame) break;
      CheckSize(frame->picture.width, frame->picture.height);
    }
  });
  // By its first bytes a camera's file is a TIFF; its name, which it has none of here, would tell.
  const bool tiff = size > 4 && (data[0] == 'I' || data[0] == 'M') && data[0] == data[1];
  if (tiff && !zolt::RawLibrary().empty()) Expect([&] { zolt::OpenRawPhoto(path, options)->Next(); });
  return 0;
}
