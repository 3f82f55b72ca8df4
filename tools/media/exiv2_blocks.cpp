#include "media/exiv2_blocks.h"

#include <mutex>

namespace zolt {
namespace {

void LockForXmp(void* mutex, bool lock) {
  auto* m = static_cast<std::mutex*>(mutex);
  if (lock)
    m->lock();
  else
    m->unlock();
}

// A block that can't be read is as good as none.
template <typename Decode>
void Try(const Decode& decode) {
  try {
    decode();
  } catch (const std::exception&) {
    return;
  }
}

}  // namespace

void PrepareExiv2() {
  static std::mutex xmp_mutex;
  static std::once_flag once;
  std::call_once(once, [] {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    Exiv2::XmpParser::initialize(&LockForXmp, &xmp_mutex);
  });
}

ExifBlocks TakenApart(const Metadata& metadata) {
  PrepareExiv2();
  ExifBlocks blocks;
  if (!metadata.exif.empty()) {
    Try([&] {
      Exiv2::ExifParser::decode(blocks.exif, metadata.exif.data(),
                                static_cast<uint32_t>(metadata.exif.size()));
    });
  }
  if (!metadata.xmp.empty()) Try([&] { Exiv2::XmpParser::decode(blocks.xmp, metadata.xmp); });
  if (!metadata.iptc.empty()) {
    Try([&] {
      Exiv2::IptcParser::decode(blocks.iptc, metadata.iptc.data(),
                                static_cast<uint32_t>(metadata.iptc.size()));
    });
  }
  return blocks;
}

void PutTogether(ExifBlocks& blocks, Metadata* metadata) {
  metadata->exif.clear();
  metadata->xmp.clear();
  metadata->iptc.clear();
  if (!blocks.exif.empty()) {
    Try([&] {
      Exiv2::Blob blob;
      Exiv2::ExifParser::encode(blob, Exiv2::littleEndian, blocks.exif);
      metadata->exif.assign(blob.begin(), blob.end());
    });
  }
  if (!blocks.xmp.empty()) {
    Try([&] {
      Exiv2::XmpParser::encode(metadata->xmp, blocks.xmp,
                               Exiv2::XmpParser::useCompactFormat | Exiv2::XmpParser::omitAllFormatting);
    });
  }
  if (!blocks.iptc.empty()) Try([&] { metadata->iptc = BytesOf(Exiv2::IptcParser::encode(blocks.iptc)); });
}

std::string TextOf(const Exiv2::ExifData& exif, const char* key) {
  const auto found = exif.findKey(Exiv2::ExifKey(key));
  return found == exif.end() || found->count() == 0 ? "" : found->toString();
}

}  // namespace zolt
