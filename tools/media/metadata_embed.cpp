// Metadata into the bytes of an encoded file.
#include <zlib.h>

#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "media/exiv2_blocks.h"
#include "media/metadata.h"

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

void AppendChunk(std::vector<uint8_t>* out, const char* name, const std::vector<uint8_t>& data) {
  Append32(out, data.size());
  const size_t begin = out->size();
  out->insert(out->end(), name, name + 4);
  out->insert(out->end(), data.begin(), data.end());
  Append32(out, crc32(0, out->data() + begin, static_cast<uInt>(out->size() - begin)));
}

void AppendText(std::vector<uint8_t>* out, std::string_view text) {
  out->insert(out->end(), text.begin(), text.end());
}

// Written here: the library knows only an older form of Exif in PNG, which browsers don't read, and a
// profile's chunk that others find fault with.
std::vector<uint8_t> PngWith(const std::vector<uint8_t>& file, const Metadata& metadata) {
  using namespace std::string_view_literals;
  constexpr ptrdiff_t kHeadEnd = 8 + 12 + 13;
  std::vector<uint8_t> out(file.begin(), file.begin() + kHeadEnd);
  if (!metadata.icc.empty()) {
    std::vector<uint8_t> data;
    AppendText(&data, "ICC profile\0\0"sv);
    const size_t head = data.size();
    uLongf size = compressBound(metadata.icc.size());
    data.resize(head + size);
    if (compress(data.data() + head, &size, metadata.icc.data(), metadata.icc.size()) != Z_OK)
      throw std::bad_alloc();
    data.resize(head + size);
    AppendChunk(&out, "iCCP", data);
  }
  if (!metadata.exif.empty()) AppendChunk(&out, "eXIf", metadata.exif);
  if (!metadata.xmp.empty()) {
    std::vector<uint8_t> data;
    AppendText(&data, "XML:com.adobe.xmp\0\0\0\0\0"sv);
    AppendText(&data, metadata.xmp);
    AppendChunk(&out, "iTXt", data);
  }
  out.insert(out.end(), file.begin() + kHeadEnd, file.end());
  return out;
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
  AddExif(blocks.exif, !IsJpeg(encoded), &image->exifData());
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
  if (IsPng(encoded)) {
    if (!metadata.iptc.empty()) left_out->push_back("IPTC left out: PNG has no place for it");
    return PngWith(encoded, metadata);
  }
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
      return plain ? encoded : Written(encoded, rest);
    } catch (const std::exception& e) {
      reason = e.what();
    }
  }
  return encoded;
}

}  // namespace zolt
