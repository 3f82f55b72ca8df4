// Metadata into the bytes of an encoded file.
#include <cstring>
#include <utility>

#include "media/exiv2_blocks.h"
#include "media/metadata.h"

extern "C" {
#include <libavutil/crc.h>
}

namespace zolt {
namespace {

void Append32(std::vector<uint8_t>* out, size_t value) {
  for (const int shift : {24, 16, 8, 0}) out->push_back(static_cast<uint8_t>(value >> shift));
}

bool IsPng(const std::vector<uint8_t>& file) {
  return file.size() > 33 && std::memcmp(file.data(), "\x89PNG\r\n\x1a\n", 8) == 0;
}
bool IsJpeg(const std::vector<uint8_t>& file) {
  return file.size() > 2 && file[0] == 0xff && file[1] == 0xd8;
}

// Behind the head. The library would write an older form, which browsers don't read.
void InsertPngExif(std::vector<uint8_t>* file, const std::vector<uint8_t>& exif) {
  std::vector<uint8_t> chunk;
  Append32(&chunk, exif.size());
  chunk.insert(chunk.end(), {'e', 'X', 'I', 'f'});
  chunk.insert(chunk.end(), exif.begin(), exif.end());
  const uint32_t crc =
      av_crc(av_crc_get_table(AV_CRC_32_IEEE_LE), 0xffffffffu, chunk.data() + 4, chunk.size() - 4);
  Append32(&chunk, crc ^ 0xffffffffu);
  constexpr ptrdiff_t kHeadEnd = 8 + 12 + 13;
  file->insert(file->begin() + kHeadEnd, chunk.begin(), chunk.end());
}

// Sets what is new over what the file has: of a TIFF that are the tags which tell its pixels.
void AddExif(const Exiv2::ExifData& added, bool into_tiff, Exiv2::ExifData* exif) {
  for (const Exiv2::Exifdatum& datum : added) {
    // A TIFF's second image would be the thumbnail; the picture itself is at hand there.
    if (into_tiff && datum.groupName() == "Thumbnail") continue;
    const auto old = exif->findKey(Exiv2::ExifKey(datum.key()));
    if (old != exif->end()) exif->erase(old);
    exif->add(datum);
  }
}

std::vector<uint8_t> Written(const std::vector<uint8_t>& encoded, const Metadata& metadata) {
  auto image = Exiv2::ImageFactory::open(encoded.data(), static_cast<long>(encoded.size()));
  image->readMetadata();
  ExifBlocks blocks = TakenApart(metadata);
  if (!IsPng(encoded)) AddExif(blocks.exif, !IsJpeg(encoded), &image->exifData());
  image->setXmpData(blocks.xmp);
  image->setIptcData(blocks.iptc);
  if (!metadata.icc.empty()) {
    Exiv2::DataBuf icc(metadata.icc.data(), static_cast<long>(metadata.icc.size()));
    image->setIccProfile(icc);
  }
  image->writeMetadata();
  Exiv2::BasicIo& io = image->io();
  if (io.open() != 0) throw Exiv2::Error(Exiv2::kerDataSourceOpenFailed, "memory", "");
  return BytesOf(io.read(static_cast<long>(io.size())));
}

}  // namespace

std::vector<uint8_t> WithMetadata(const std::vector<uint8_t>& encoded, const Metadata& metadata,
                                  std::vector<std::string>* left_out) {
  PrepareExiv2();
  // Rather without one block than without all: what is too large for a JPEG's segment goes, the largest
  // first.
  Metadata rest = metadata;
  struct Block {
    const char* name;
    bool (*clear)(Metadata*);  // whether there was one
  };
  constexpr Block kBlocks[] = {
      {"", [](Metadata*) { return true; }},
      {"XMP", [](Metadata* m) { return !std::exchange(m->xmp, {}).empty(); }},
      {"IPTC", [](Metadata* m) { return !std::exchange(m->iptc, {}).empty(); }},
      {"the colour profile", [](Metadata* m) { return !std::exchange(m->icc, {}).empty(); }},
      {"Exif", [](Metadata* m) { return !std::exchange(m->exif, {}).empty(); }}};
  std::string reason;
  for (const Block& block : kBlocks) {
    if (!block.clear(&rest)) continue;
    if (*block.name != 0) left_out->push_back(std::string(block.name) + " left out: " + reason);
    try {
      const bool plain = rest.exif.empty() && rest.xmp.empty() && rest.iptc.empty() && rest.icc.empty();
      std::vector<uint8_t> file = plain ? encoded : Written(encoded, rest);
      if (IsPng(file) && !rest.exif.empty()) InsertPngExif(&file, rest.exif);
      return file;
    } catch (const std::exception& e) {
      reason = e.what();
    }
  }
  return encoded;
}

}  // namespace zolt
