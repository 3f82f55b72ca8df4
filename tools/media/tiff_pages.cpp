#include "media/tiff_pages.h"

#include <cstdint>
#include <cstdio>
#include <memory>

#include "common/errors.h"

namespace zolt {
namespace {

constexpr int kMostPages = 1000;
// Tags, in the order of a table.
constexpr uint32_t kSubfileType = 0x00fe;
constexpr uint32_t kCompression = 0x0103;
constexpr uint32_t kTileOffsets = 0x0144;
constexpr uint32_t kReducedCopy = 1;

struct TiffPage {
  bool own_picture = false;  // no reduced copy of another
  bool undecodable = false;
};

class TiffTables {
 public:
  explicit TiffTables(const std::string& path) : file_(std::fopen(path.c_str(), "rb"), &std::fclose) {
    uint8_t head[8];
    if (!Read(0, head, sizeof head)) return;
    little_ = head[0] == 'I';
    if (head[0] == head[1] && (head[0] == 'I' || head[0] == 'M') && Number(head + 2, 2) == 42)
      first_ = Number(head + 4, 4);
  }

  /// Place of the first table, 0 if this is no TIFF.
  uint32_t first() const { return first_; }

  /// What the table at `at` tells, and where the next one is; 0: nowhere.
  uint32_t Next(uint32_t at, TiffPage* page) const {
    uint8_t bytes[12];
    *page = {};
    if (!Read(at, bytes, 2)) return 0;
    const uint32_t entries = Number(bytes, 2);
    page->own_picture = true;
    for (uint32_t i = 0; i < entries; ++i) {
      if (!Read(at + 2 + 12 * int64_t{i}, bytes, 12)) return 0;
      const uint32_t tag = Number(bytes, 2);
      if (tag == kSubfileType && (Number(bytes + 8, 4) & kReducedCopy) != 0) page->own_picture = false;
      const uint32_t packing = tag == kCompression ? Number(bytes + 8, 2) : 0;
      if (tag == kTileOffsets || packing == 6 || packing == 7) page->undecodable = true;
      if (tag >= kTileOffsets) break;
    }
    return Read(at + 2 + 12 * int64_t{entries}, bytes, 4) ? Number(bytes, 4) : 0;
  }

 private:
  bool Read(int64_t at, uint8_t* to, size_t size) const {
    return file_ && fseeko(file_.get(), at, SEEK_SET) == 0 && std::fread(to, 1, size, file_.get()) == size;
  }
  uint32_t Number(const uint8_t* bytes, int size) const {
    uint32_t value = 0;
    for (int i = 0; i < size; ++i) value |= uint32_t{bytes[i]} << 8 * (little_ ? i : size - 1 - i);
    return value;
  }

  std::unique_ptr<FILE, int (*)(FILE*)> file_;
  bool little_ = true;
  uint32_t first_ = 0;
};

}  // namespace

std::vector<int> TiffPages(const std::string& path) {
  const TiffTables tables(path);
  std::vector<int> pages;
  bool undecodable = false;
  uint32_t at = tables.first();
  for (int page = 1; at != 0 && page <= kMostPages; ++page) {
    TiffPage told;
    const uint32_t next = tables.Next(at, &told);
    if (told.own_picture) pages.push_back(page);
    if (told.own_picture && told.undecodable) undecodable = true;
    if (next <= at) break;  // back: a loop, or a writer that nobody has seen
    at = next;
  }
  if (undecodable) {
    FailFile(path +
             ": is a TIFF of tiles or with JPEG inside, which can't be read; save it anew in strips, " +
             "packed by LZW or not at all");
  }
  if (pages.size() < 2) pages.clear();
  return pages;
}

}  // namespace zolt
