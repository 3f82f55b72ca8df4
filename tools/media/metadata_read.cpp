// Metadata out of files, and what it tells.
#include <cctype>
#include <cstdio>
#include <cstdlib>

#include "media/exiv2_blocks.h"
#include "media/metadata.h"

namespace zolt {
namespace {

// Of the first table of a TIFF, what tells how its pixels lie, or what is kept elsewhere here. In another
// file it would be wrong or, in another TIFF, break it.
bool TellsPixels(uint16_t tag) {
  constexpr uint16_t kSingle[] = {0x00fe, 0x00ff, 0x0106, 0x0107, 0x0108, 0x0109, 0x010a,
                                  0x0111, 0x0115, 0x0116, 0x0117, 0x0118, 0x0119, 0x011c,
                                  0x013d, 0x014a, 0x014c, 0x015b, 0x0211, 0x0212, 0x0214,
                                  0x02bc, 0x828d, 0x828e, 0x83bb, 0x8649, 0x8773, 0xea1c};
  for (const uint16_t single : kSingle) {
    if (tag == single) return true;
  }
  const auto within = [tag](uint16_t low, uint16_t high) { return tag >= low && tag <= high; };
  return within(0x0100, 0x0103) || within(0x0120, 0x0127) || within(0x0140, 0x0147) ||
         within(0x0150, 0x0159) || within(0x0200, 0x0209) || within(0xc612, 0xcfff);
}

// The first table, Exif, GPS and interoperability, and makers' notes; no thumbnails or other images of the
// file.
bool Belongs(const Exiv2::Exifdatum& datum) {
  const std::string group = datum.groupName();
  for (const char* other : {"Thumbnail", "Image2", "Image3", "MpfInfo", "PanasonicRaw"}) {
    if (group == other) return false;
  }
  if (group.rfind("SubImage", 0) == 0 || group.rfind("SubThumb", 0) == 0) return false;
  return group != "Image" || !TellsPixels(datum.tag());
}

int OrientationOf(const Exiv2::ExifData& exif) {
  const std::string text = TextOf(exif, "Exif.Image.Orientation");
  return PlainOrientation(std::strtol(text.c_str(), nullptr, 10));
}

Metadata Kept(ExifBlocks& blocks) {
  Metadata metadata;
  metadata.orientation = OrientationOf(blocks.exif);
  metadata.software = TextOf(blocks.exif, "Exif.Image.Software");
  ExifBlocks kept;
  for (const Exiv2::Exifdatum& datum : blocks.exif) {
    if (Belongs(datum)) kept.exif.add(datum);
  }
  kept.xmp = blocks.xmp;
  kept.iptc = blocks.iptc;
  PutTogether(kept, &metadata);
  return metadata;
}

std::optional<double> PositiveOf(const Exiv2::ExifData& exif, std::initializer_list<const char*> keys) {
  for (const char* key : keys) {
    const auto found = exif.findKey(Exiv2::ExifKey(key));
    if (found == exif.end() || found->count() == 0) continue;
    const double value = static_cast<double>(found->toFloat());
    if (value > 0 && value < 1e9) return value;
  }
  return std::nullopt;
}

// Microseconds of a calendar without leap seconds or zones; "2024:05:01 12:00:00" and "25" of a hundred.
std::optional<int64_t> TimeOf(const std::string& date, const std::string& fraction) {
  int year, month, day, hour, minute, second;
  if (std::sscanf(date.c_str(), "%4d:%2d:%2d %2d:%2d:%2d", &year, &month, &day, &hour, &minute, &second) != 6)
    return std::nullopt;
  if (year < 1 || month < 1 || month > 12 || day < 1 || day > 31) return std::nullopt;
  const int shifted = (month + 9) % 12;  // the year begins in March, so that leap days come last
  const int64_t y = month <= 2 ? year - 1 : year;
  const int64_t days = 365 * y + y / 4 - y / 100 + y / 400 + (153 * shifted + 2) / 5 + day;
  int64_t time = (((days * 24 + hour) * 60 + minute) * 60 + second) * 1000000;
  int64_t weight = 100000;
  for (const char c : fraction) {
    if (!std::isdigit(static_cast<unsigned char>(c)) || weight == 0) break;
    time += (c - '0') * weight;
    weight /= 10;
  }
  return time;
}

// An Exif block of a HEIF file, or of a JPEG's segment, may begin with its name.
const uint8_t* TiffBegin(const std::vector<uint8_t>& exif, size_t* size) {
  size_t at = 0;
  if (exif.size() >= 6 && std::equal(exif.begin(), exif.begin() + 4, "Exif")) at = 6;
  *size = exif.size() - at;
  return exif.data() + at;
}

}  // namespace

bool ReadsMetadata() {
  return true;
}

std::string MetadataLibrary() {
  return std::string("Exiv2 ") + Exiv2::version();
}

Metadata ReadMetadata(const std::string& path) {
  PrepareExiv2();
  Metadata metadata;
  try {
    // The file itself, whatever its name looks like: no address, no standard input.
    auto image = Exiv2::ImageFactory::open(
        decltype(Exiv2::ImageFactory::createIo("", false))(new Exiv2::FileIo(path)));
    // A video's is not wanted, and the library walks a damaged one's boxes for minutes. Asked here, since a
    // file of two minds is what the library takes it for.
    if (!image.get() || image->mimeType().rfind("video/", 0) == 0) return metadata;
    image->readMetadata();
    ExifBlocks blocks{image->exifData(), image->xmpData(), image->iptcData()};
    metadata = Kept(blocks);
    metadata.width = static_cast<int>(image->pixelWidth());
    metadata.height = static_cast<int>(image->pixelHeight());
    if (image->iccProfileDefined()) metadata.icc = BytesOf(*image->iccProfile());
  } catch (const Exiv2::Error& e) {
    // A format that it doesn't know carries nothing that could be kept.
    const int code = static_cast<int>(e.code());
    if (code != static_cast<int>(Exiv2::kerFileContainsUnknownImageType) &&
        code != static_cast<int>(Exiv2::kerNoImageInInputData))
      metadata.fault = e.what();
  } catch (const std::exception& e) {
    metadata.fault = e.what();
  }
  return metadata;
}

Metadata MetadataFromBlocks(const std::vector<uint8_t>& exif, const std::string& xmp,
                            const std::vector<uint8_t>& icc) {
  Metadata raw;
  size_t size = 0;
  const uint8_t* tiff = TiffBegin(exif, &size);
  if (size > 0) raw.exif.assign(tiff, tiff + size);
  raw.xmp = xmp;
  ExifBlocks blocks = TakenApart(raw);
  Metadata metadata = Kept(blocks);
  metadata.icc = icc;
  return metadata;
}

ShotFacts FactsOf(const Metadata& metadata) {
  ShotFacts facts;
  const Exiv2::ExifData exif = TakenApart({.exif = metadata.exif}).exif;
  constexpr const char* kTimes[][2] = {{"Exif.Photo.DateTimeOriginal", "Exif.Photo.SubSecTimeOriginal"},
                                       {"Exif.Photo.DateTimeDigitized", "Exif.Photo.SubSecTimeDigitized"},
                                       {"Exif.Image.DateTimeOriginal", "Exif.Photo.SubSecTime"},
                                       {"Exif.Image.DateTime", "Exif.Photo.SubSecTime"}};
  for (const auto& [date, fraction] : kTimes) {
    if (facts.time_us) break;
    facts.time_us = TimeOf(TextOf(exif, date), TextOf(exif, fraction));
  }
  facts.exposure = PositiveOf(exif, {"Exif.Photo.ExposureTime", "Exif.Image.ExposureTime"});
  facts.f_number = PositiveOf(exif, {"Exif.Photo.FNumber", "Exif.Image.FNumber"});
  const auto iso = PositiveOf(exif, {"Exif.Photo.ISOSpeedRatings", "Exif.Image.ISOSpeedRatings"});
  if (iso && *iso < 1e7) facts.iso = static_cast<int>(*iso);
  facts.camera = TextOf(exif, "Exif.Image.Make") + " " + TextOf(exif, "Exif.Image.Model");
  if (facts.camera == " ") facts.camera.clear();
  return facts;
}

}  // namespace zolt
