// What of the reference frame's metadata holds for the result, and what is added to it.
#include "media/exiv2_blocks.h"
#include "media/metadata.h"

namespace zolt {
namespace {

template <typename Data, typename Doomed>
void EraseIf(Data* data, const Doomed& doomed) {
  for (auto at = data->begin(); at != data->end();) at = doomed(*at) ? data->erase(at) : std::next(at);
}

bool Contains(const std::string& text, std::initializer_list<const char*> words) {
  for (const char* word : words) {
    if (text.find(word) != std::string::npos) return true;
  }
  return false;
}

void ErasePlace(ExifBlocks* blocks) {
  EraseIf(&blocks->exif, [](const auto& d) {
    return d.groupName() == "GPSInfo" || d.key() == "Exif.Image.GPSTag" || d.key() == "Exif.Photo.GPSTag";
  });
  EraseIf(&blocks->xmp, [](const auto& d) {
    return Contains(d.key(),
                    {"exif.GPS", "photoshop.City", "photoshop.State", "photoshop.Country", "iptc.Location",
                     "iptc.CountryCode", "iptcExt.Location", "Iptc4xmpExt.Location"});
  });
  EraseIf(&blocks->iptc, [](const auto& d) {
    return Contains(d.tagName(),
                    {"City", "SubLocation", "ProvinceState", "CountryCode", "CountryName", "Location"});
  });
}

// The result is a still: the video behind a motion photo, and a gain map, stay behind with the file.
void EraseCompanions(Exiv2::XmpData* xmp) {
  EraseIf(xmp, [](const auto& d) {
    return Contains(d.key(), {"MotionPhoto", "MicroVideo", "Container", "hdrgm", "HDRGainMap",
                              "HasExtendedXMP", "xmp.Thumbnails"});
  });
}

void SetSize(ExifBlocks* blocks, int width, int height) {
  blocks->exif["Exif.Photo.PixelXDimension"] = static_cast<uint32_t>(width);
  blocks->exif["Exif.Photo.PixelYDimension"] = static_cast<uint32_t>(height);
  const std::pair<const char*, int> told[] = {{"Xmp.exif.PixelXDimension", width},
                                              {"Xmp.exif.PixelYDimension", height},
                                              {"Xmp.tiff.ImageWidth", width},
                                              {"Xmp.tiff.ImageLength", height}};
  for (const auto& [key, value] : told) {
    const auto found = blocks->xmp.findKey(Exiv2::XmpKey(key));
    if (found != blocks->xmp.end()) found->setValue(std::to_string(value));
  }
}

void SetOrientation(ExifBlocks* blocks, int orientation) {
  blocks->exif["Exif.Image.Orientation"] = static_cast<uint16_t>(orientation);
  const auto found = blocks->xmp.findKey(Exiv2::XmpKey("Xmp.tiff.Orientation"));
  if (found != blocks->xmp.end()) found->setValue(std::to_string(orientation));
}

// Cameras fill the comment's place with blanks.
bool HasComment(const Exiv2::ExifData& exif) {
  const auto found = exif.findKey(Exiv2::ExifKey("Exif.Photo.UserComment"));
  if (found == exif.end()) return false;
  const auto* value = dynamic_cast<const Exiv2::CommentValue*>(&found->value());
  const std::string text = value ? value->comment() : found->toString();
  return text.find_first_not_of(std::string(" \0", 2)) != std::string::npos;
}

void SetNote(ExifBlocks* blocks, const std::vector<ShotFacts>& frames) {
  const std::string note = "Made of " + ExposureLine(frames);
  if (HasComment(blocks->exif))
    blocks->xmp["Xmp.photoshop.History"] = note;
  else
    blocks->exif["Exif.Photo.UserComment"] = "charset=Ascii " + note;
}

void SetThumbnail(Exiv2::ExifData* exif, const std::vector<uint8_t>& jpeg) {
  if (jpeg.empty()) return;
  Exiv2::ExifThumb thumbnail(*exif);
  thumbnail.setJpegThumbnail(jpeg.data(), static_cast<long>(jpeg.size()), {72, 1}, {72, 1}, 2);
}

}  // namespace

Metadata MetadataOfResult(const Metadata& reference, const ResultFacts& result,
                          const MetadataChoice& choice) {
  if (choice.strip) return {.orientation = reference.orientation};
  Metadata metadata = reference;
  try {
    ExifBlocks blocks = TakenApart(reference);
    if (choice.no_gps) ErasePlace(&blocks);
    EraseCompanions(&blocks.xmp);
    SetSize(&blocks, result.width, result.height);
    SetOrientation(&blocks, reference.orientation);
    blocks.exif["Exif.Image.Software"] = std::string("zolt-burst ") + ZOLT_VERSION;
    SetNote(&blocks, result.frames);
    SetThumbnail(&blocks.exif, result.thumbnail);
    PutTogether(blocks, &metadata);
  } catch (const Exiv2::Error& e) {
    metadata.fault = e.what();
  }
  return metadata;
}

Metadata UprightMetadata(const Metadata& metadata, int width, int height) {
  Metadata out = metadata;
  out.orientation = kUpright;
  if (metadata.exif.empty()) return out;
  try {
    ExifBlocks blocks = TakenApart(metadata);
    SetSize(&blocks, width, height);
    SetOrientation(&blocks, kUpright);
    Exiv2::ExifThumb(blocks.exif).erase();
    PutTogether(blocks, &out);
  } catch (const Exiv2::Error& e) {
    out.fault = e.what();
  }
  return out;
}

}  // namespace zolt
