#include "media/file_kind.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "common/file_io.h"
#include "media/raw_frame.h"

namespace zolt {
namespace {

constexpr size_t kHeadSize = 32;

bool IsOneOf(std::string_view word, std::initializer_list<std::string_view> list) {
  return std::find(list.begin(), list.end(), word) != list.end();
}

bool IsRawName(const std::string& extension) {
  return IsOneOf(extension, {"dng", "cr2", "cr3", "crw", "nef", "nrw", "arw", "sr2", "srf", "raf", "orf",
                             "rw2", "pef", "srw", "3fr", "rwl", "iiq"});
}

std::string HeadOf(const std::string& path) {
  char head[kHeadSize];
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return std::string(kHeadSize, '\0');
  const size_t n = std::fread(head, 1, sizeof head, file);
  std::fclose(file);
  std::string out(head, n);
  out.resize(kHeadSize);  // so that every place can be looked at
  return out;
}

// ISO base media: a box "ftyp" with the brand comes first.
FileKind KindOfBrand(std::string_view brand) {
  if (IsOneOf(brand, {"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1", "avif", "avis", "mif2",
                      "miaf"}))
    return FileKind::kHeif;
  return brand == "crx " ? FileKind::kRaw : FileKind::kVideo;
}

FileKind KindOfHead(std::string_view head, const std::string& extension) {
  using namespace std::string_view_literals;
  const auto begins = [&](std::string_view with) { return head.substr(0, with.size()) == with; };
  if (begins("\xff\xd8\xff"sv) || begins("\x89PNG\r\n"sv) || begins("BM"sv)) return FileKind::kImage;
  // The extended form has flags, one of which says that there are several frames.
  if (begins("RIFF"sv) && head.substr(8, 8) == "WEBPVP8X" && (head[20] & 2) != 0)
    return FileKind::kMovingWebp;
  if (begins("RIFF"sv) && head.substr(8, 4) == "WEBP") return FileKind::kImage;
  if (begins("IIRO"sv) || begins("IIRS"sv) || begins("MMOR"sv) || begins("IIU\0"sv) ||
      begins("FUJIFILMCCD-RAW"sv) || begins("\0MRM"sv) ||
      (begins("II\x1a\0"sv) && head.substr(6, 4) == "HEAP"))
    return FileKind::kRaw;
  if (begins("II*\0"sv) || begins("MM\0*"sv) || begins("II+\0"sv) || begins("MM\0+"sv))
    return IsRawName(extension) || head.substr(8, 2) == "CR" ? FileKind::kRaw : FileKind::kImage;
  if (head.size() > 2 && head[0] == 'P' && head[1] >= '1' && head[1] <= '7' &&
      std::strchr(" \t\r\n", head[2]))
    return FileKind::kImage;
  if (begins("YUV4MPEG2 "sv)) return FileKind::kVideo;
  if (head.substr(4, 4) == "ftyp") return KindOfBrand(head.substr(8, 4));
  const bool video = begins("\x1a\x45\xdf\xa3"sv) || (begins("RIFF"sv) && head.substr(8, 4) == "AVI ") ||
                     IsOneOf(extension, {"mp4", "mov", "mkv", "webm", "avi", "ts", "m4v", "3gp", "mts",
                                         "h264", "hevc", "mjpeg", "ivf", "nut"});
  return video ? FileKind::kVideo : FileKind::kOther;
}

}  // namespace

FileKind KindOf(const std::string& path) {
  if (RawLayoutOf(path)) return FileKind::kFrames;
  return KindOfHead(HeadOf(path), ExtensionOf(path));
}

bool IsPictureName(const std::string& path) {
  const std::string e = ExtensionOf(path);
  return IsRawName(e) ||
         IsOneOf(e, {"jpg", "jpeg", "jpe", "jfif", "mpo",  "png",  "apng", "tif", "tiff", "bmp",
                     "ppm", "pgm",  "pnm", "pam",  "webp", "heic", "heif", "hif", "avif", "y4m"});
}

}  // namespace zolt
