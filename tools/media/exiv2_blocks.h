#pragma once

#include <cstdint>
#include <exiv2/exiv2.hpp>
#include <string>
#include <vector>

#include "media/metadata.h"

namespace zolt {

/// Metadata taken apart, to be looked at and changed.
struct ExifBlocks {
  Exiv2::ExifData exif;
  Exiv2::XmpData xmp;
  Exiv2::IptcData iptc;
};

/// Makes the library ready: silent, and its XMP part set up for several threads. To be called before any
/// other use.
void PrepareExiv2();

inline std::vector<uint8_t> BytesOf(const Exiv2::DataBuf& buffer) {
#if EXIV2_TEST_VERSION(0, 28, 0)
  return {buffer.c_data(), buffer.c_data() + buffer.size()};
#else
  return {buffer.pData_, buffer.pData_ + buffer.size_};
#endif
}

/// What can be understood of the blocks; damaged ones come out empty.
ExifBlocks TakenApart(const Metadata& metadata);

/// The exif, xmp and iptc of `metadata` are replaced. Large previews are left out by the library.
void PutTogether(ExifBlocks& blocks, Metadata* metadata);

/// The value as text, empty if there is none.
std::string TextOf(const Exiv2::ExifData& exif, const char* key);

}  // namespace zolt
